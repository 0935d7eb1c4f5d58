#include "util/numbers.h"

#include <charconv>
#include <cmath>

namespace {

// Unlike the C library's functions, from_chars knows no locale, white space or hexadecimal numbers.
// It knows no "+" either.
template<typename Number>
bool parseWhole(std::string_view text, Number& out) {
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    const char* const end = text.data() + text.size();
    Number number{};
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) {
        return false;
    }
    out = number;
    return true;
}

} // namespace

bool util::parse(std::string_view text, int& out) {
    return parseWhole(text, out);
}

bool util::parse(std::string_view text, double& out) {
    double number = 0;
    if (!parseWhole(text, number) || !std::isfinite(number)) {
        return false;
    }
    out = number;
    return true;
}
