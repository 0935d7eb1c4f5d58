// Letters of ASCII, byte by byte, in any locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace core {

constexpr char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lowerAscii, lowerAscii);
}

} // namespace core
