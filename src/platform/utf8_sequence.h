// Telling valid UTF-8 from other bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace platform {

inline bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

// The length in bytes of the first character of a text that is not empty; 0 if that is not UTF-8.
inline std::size_t sequenceLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    std::uint32_t code = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[i])) {
            return 0;
        }
        code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool surrogate = code >= 0xD800 && code < 0xE000;
    return overlong || surrogate || code > 0x10FFFF ? 0 : length;
}

// Whether the character is a control character: C0, DEL or C1.
inline bool isControl(std::string_view character) {
    const auto last = static_cast<unsigned char>(character.back());
    return character.size() == 1 ? last < 0x20 || last == 0x7F
                                 : character.front() == '\xC2' && last < 0xA0;
}

} // namespace platform
