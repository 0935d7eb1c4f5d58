#include "config/string_token.h"

#include "config/escapes.h"
#include "config/lexical_tokens.h"
#include "config/matching.h"

#include <optional>

namespace qz::config {

namespace {

// As it stands in the text if there is nothing to resolve.
std::optional<std::string_view> resolve(Matching& matching, std::string_view raw) {
    if (raw.find('\\') == std::string_view::npos) {
        return raw;
    }
    char* const chars = matching.makeChars(raw.size());
    const std::optional<std::size_t> length = resolveEscapes(raw, chars);
    return length ? std::optional(std::string_view(chars, *length)) : std::nullopt;
}

} // namespace

StringToken::StringToken(const LexicalAnalyser& lexical)
    : quoted_(lexical.find(DataBlockToken("\"", "\"", true))) {}

bool StringToken::matchTokens(Matching& matching) const {
    if (!matching.isAt(quoted_.get())) {
        return matching.fail();
    }
    const std::optional<std::string_view> text =
        resolve(matching, quoted_->contents(matching.text()));
    if (!text) {
        return matching.fail();
    }
    const Matching::Position start = matching.position();
    matching.accept(quoted_.get());
    Entry& entry = matching.makeEntry();
    entry.type = Type::kString;
    entry.chars = text->data();
    entry.charCount = static_cast<std::uint32_t>(text->size());
    matching.keep(entry, start);
    return true;
}

} // namespace qz::config
