#include "config/integer_number_token.h"

#include "config/decimal.h"
#include "config/lexical_tokens.h"

#include <bit>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace qz::config {

namespace {

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

} // namespace

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

} // namespace qz::config
