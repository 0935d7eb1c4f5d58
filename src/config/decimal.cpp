#include "config/decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace qz::config {

namespace {

constexpr int kSignificantDigits = 10;

// The power of ten, or of 2, of the first digit that is not 0. It is only rough, which is enough
// for numbers that are far too large or too small.
std::int64_t magnitudeOf(std::string_view text, bool isHexadecimal) {
    const std::size_t exponentAt =
        std::min(text.find_first_of(isHexadecimal ? "pP" : "eE"), text.size());
    const std::string_view digits = text.substr(0, exponentAt);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first =
        static_cast<std::int64_t>(std::min(digits.find_first_not_of("0."), digits.size()));
    std::int64_t exponent = 0;
    if (exponentAt < text.size()) {
        const std::string_view rest = text.substr(exponentAt + 1);
        const bool isNegative = rest.starts_with('-');
        const char* const begin = rest.data() + (isNegative || rest.starts_with('+') ? 1 : 0);
        // Larger than any text's number of digits, but too small to overflow when that is added.
        exponent = std::int64_t{1} << 40;
        std::from_chars(begin, rest.data() + rest.size(), exponent);
        exponent = isNegative ? -exponent : exponent;
    }
    return (point - first) * (isHexadecimal ? 4 : 1) + exponent;
}

double parseAnySize(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) {
        return beyondDouble(text, false);
    }
    return value;
}

// Appends what to_chars makes of a real, with a point if it has none.
void appendWithPoint(std::string& output, std::string_view text) {
    const std::string_view digits = text.substr(0, text.find('e'));
    output += digits;
    if (digits.find('.') == std::string_view::npos) {
        output += ".0";
    }
    output += text.substr(digits.size());
}

} // namespace

double beyondDouble(std::string_view text, bool isHexadecimal) {
    return magnitudeOf(text, isHexadecimal) > 0 ? std::numeric_limits<double>::infinity() : 0;
}

// A whole number of so few digits and the power of ten are both exact. So their quotient is rounded
// once, as it should be.
double parseDecimal(std::string_view text) {
    constexpr std::size_t kExactDigits = 15;
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6, 1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};
    if (text.size() > kExactDigits) {
        return parseAnySize(text);
    }
    std::int64_t digits = 0;
    std::size_t point = text.size() - 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '.') {
            point = i;
        } else if (text[i] >= '0' && text[i] <= '9') {
            digits = digits * 10 + (text[i] - '0');
        } else {
            return parseAnySize(text);
        }
    }
    return static_cast<double>(digits) / kPowers[text.size() - 1 - point];
}

void appendReal(std::string& output, double value) {
    // Rounded to 10 digits, the largest reals would be too large to be read.
    constexpr double kLargest = 1.797693134e308;
    value = std::clamp(value, -kLargest, kLargest);
    char buffer[32];
    const auto [end, error] = std::to_chars(std::begin(buffer), std::end(buffer), value,
                                            std::chars_format::general, kSignificantDigits);
    appendWithPoint(output, {buffer, end});
}

void appendShortestReal(std::string& output, double value) {
    char buffer[32];
    const auto [end, error] = std::to_chars(std::begin(buffer), std::end(buffer), value);
    appendWithPoint(output, {buffer, end});
}

} // namespace qz::config
