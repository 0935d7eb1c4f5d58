#include "config/value_tokens.h"

#include "config/decimal.h"
#include "config/escapes.h"

#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

namespace qz::config {

namespace {

// Whether the number can be saved.
bool fits(const Number& number) {
    const double whole = std::trunc(number.value);
    return number.isInteger ? whole >= INT_MIN && whole <= INT_MAX : std::isfinite(number.value);
}

// 32 bits taken as signed; a number without digits is 0.
bool parseHexadecimal(std::string_view text, double& value) {
    std::uint32_t bits = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, bits, 16);
    value = std::bit_cast<std::int32_t>(bits);
    return text.empty() || (error == std::errc() && stop == end);
}

bool parseBoolean(std::string_view text, double& value) {
    value = text == "true" ? 1 : 0;
    return text == "true" || text == "false";
}

bool beginsExponent(std::string_view text) {
    return text.front() == 'e' || text.front() == 'E';
}

bool areDigits(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The value of the lexemes since `start`. Blanks or comments may stand between them.
double valueSince(const Matching& matching, Matching::Position start) {
    std::size_t length = 0;
    for (Matching::Position at = start; at != matching.position(); ++at) {
        length += matching.placeOf(at).length;
    }
    const std::uint32_t offset = matching.placeOf(start).offset;
    const Place whole{offset, matching.placeOf(matching.position() - 1).end() - offset};
    if (whole.length == length) {
        return parseDecimal(matching.textOf(whole));
    }
    std::string text;
    for (Matching::Position at = start; at != matching.position(); ++at) {
        text += matching.textOf(matching.placeOf(at));
    }
    return parseDecimal(text);
}

// The text that `raw` stands for: `raw` itself if it has no escapes.
std::optional<std::string_view> resolve(Matching& matching, std::string_view raw) {
    if (raw.find('\\') == std::string_view::npos) {
        return raw;
    }
    char* const chars = matching.makeChars(raw.size());
    const std::optional<std::size_t> length = resolveEscapes(raw, chars);
    return length ? std::optional(std::string_view(chars, *length)) : std::nullopt;
}

} // namespace

bool NumberToken::matchTokens(Matching& matching) const {
    const Matching::Position start = matching.position();
    Number number;
    if (!read(matching, number)) {
        return matching.fail();
    }
    if (!fits(number)) {
        matching.returnTo(start);
        return matching.fail();
    }
    Entry& entry = matching.makeEntry();
    if (number.isInteger) {
        entry.type = Type::kInteger;
        entry.integer = static_cast<int>(number.value);
    } else {
        entry.type = Type::kReal;
        entry.real = number.value;
    }
    matching.keep(entry, start);
    return true;
}

IntegerNumberToken::IntegerNumberToken(const LexicalAnalyser& lexical)
    : digits_(lexical.find(DigitToken())), identifier_(lexical.find(IdentifierToken())) {}

bool IntegerNumberToken::read(Matching& matching, Number& number) const {
    number.isInteger = true;
    if (matching.isAt(identifier_.get())) {
        return parseBoolean(matching.text(), number.value) && matching.accept(identifier_.get());
    }
    if (!matching.isAt(digits_.get())) {
        return false;
    }
    if (readHexadecimal(matching, number)) {
        return true;
    }
    number.value = parseDecimal(matching.text());
    return matching.accept(digits_.get());
}

bool IntegerNumberToken::readHexadecimal(Matching& matching, Number& number) const {
    if (matching.text() != "0") {
        return false;
    }
    const Matching::Position start = matching.position();
    matching.accept(digits_.get());
    if (matching.isAt(identifier_.get()) && matching.isAdjacent()) {
        const std::string_view text = matching.text();
        if ((text.front() == 'x' || text.front() == 'X') &&
            parseHexadecimal(text.substr(1), number.value)) {
            return matching.accept(identifier_.get());
        }
    }
    matching.returnTo(start);
    return false;
}

RealNumberToken::RealNumberToken(const LexicalAnalyser& lexical)
    : digits_(lexical.find(DigitToken()))
    , point_(lexical.find(SeparatorToken(".")))
    , identifier_(lexical.find(IdentifierToken()))
    , plus_(lexical.find(SeparatorToken("+")))
    , minus_(lexical.find(SeparatorToken("-"))) {}

bool RealNumberToken::read(Matching& matching, Number& number) const {
    const Matching::Position start = matching.position();
    const bool isMatch = matching.accept(digits_.get()) && matching.accept(point_.get()) &&
                         matching.expect(digits_.get()) && readExponent(matching);
    if (!isMatch) {
        matching.returnTo(start);
        return false;
    }
    number.isInteger = false;
    number.value = valueSince(matching, start);
    return true;
}

// Reads an identifier such as "e3", or "e" with a sign and digits behind it; true if none is there.
bool RealNumberToken::readExponent(Matching& matching) const {
    if (!matching.isAt(identifier_.get()) || !beginsExponent(matching.text())) {
        return true;
    }
    const std::string_view digits = matching.text().substr(1);
    if (!areDigits(digits)) {
        return matching.fail();
    }
    matching.accept(identifier_.get());
    if (!digits.empty()) {
        return true;
    }
    if (!matching.accept(plus_.get())) {
        matching.accept(minus_.get());
    }
    return matching.expect(digits_.get());
}

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
