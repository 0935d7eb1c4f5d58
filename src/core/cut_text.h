// Cutting UTF-8 where it does not fit.
#pragma once

#include <cstddef>
#include <string_view>

namespace core {

// How many bytes of a text to keep, `most` or less, so that the cut is not within a character.
inline std::size_t lengthToKeep(std::string_view text, std::size_t most) {
    if (text.size() <= most) {
        return text.size();
    }
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0U) == 0x80) {
        --most;
    }
    return most;
}

} // namespace core
