#include "config/real_number_token.h"

#include "config/decimal.h"
#include "config/lexical_tokens.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace qz::config {

namespace {

bool beginsExponent(std::string_view text) {
    return text.front() == 'e' || text.front() == 'E';
}

bool areDigits(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Blanks or comments may divide the lexemes.
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

} // namespace

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

// An identifier such as "e3", or "e" with a sign and digits behind it.
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

} // namespace qz::config
