// Reals as text that reads the same in every locale.
#pragma once

#include <charconv>
#include <limits>

namespace core {

// The text that "%.*f" gives in the C locale, for up to 9 decimals: to_chars rounds the same way.
class Fixed {
public:
    Fixed(double value, int decimals) {
        *std::to_chars(text_, text_ + sizeof text_ - 1, value, std::chars_format::fixed, decimals)
             .ptr = '\0';
    }

    const char* text() const { return text_; }

private:
    // A sign, the digits of the largest value, the point, the decimals, the terminator.
    char text_[1 + std::numeric_limits<double>::max_exponent10 + 1 + 1 + 9 + 1];
};

} // namespace core
