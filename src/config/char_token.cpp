#include "config/char_token.h"

#include "config/escapes.h"
#include "config/lexical_tokens.h"

#include <iterator>
#include <optional>

namespace qz::config {

CharToken::CharToken(const LexicalAnalyser& lexical)
    : quoted_(lexical.find(DataBlockToken("'", "'", true))) {}

bool CharToken::read(Matching& matching, Number& number) const {
    if (!matching.isAt(quoted_.get())) {
        return false;
    }
    const std::string_view raw = quoted_->contents(matching.text());
    signed char characters[2] = {};
    if (raw.size() > std::size(characters)) {
        return matching.fail();
    }
    const std::optional<std::size_t> length =
        resolveEscapes(raw, reinterpret_cast<char*>(characters));
    if (!length || *length > 1) {
        return matching.fail();
    }
    number = {static_cast<double>(characters[0]), true};
    return matching.accept(quoted_.get());
}

} // namespace qz::config
