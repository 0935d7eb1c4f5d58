// Cutting UTF-8 where it does not fit.
#pragma once

#include "platform/utf8_sequence.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace platform {

// How many bytes of a text to keep, `most` or less, so that the cut is not within a character. Of a
// text that is not UTF-8 it may drop up to three bytes more.
inline std::size_t lengthToKeep(std::string_view text, std::size_t most) {
    if (text.size() <= most) {
        return text.size();
    }
    constexpr std::size_t kLongestRest = 3; // of a character, behind its first byte
    const std::size_t first = most - std::min(most, kLongestRest);
    const std::string_view end = text.substr(first, most + 1 - first);
    const auto start = std::find_if_not(end.rbegin(), end.rend(), isContinuation);
    if (start != end.rend()) {
        return most - static_cast<std::size_t>(start - end.rbegin());
    }
    return most;
}

// What to keep of a text that ends with a zero byte.
inline std::string_view cut(const char* text, std::size_t most) {
    return {text, lengthToKeep({text, strnlen(text, most + 1)}, most)};
}

// Copy what fits of a text into a buffer, and terminate it.
template<std::size_t size>
void copyCut(char (&buffer)[size], std::string_view text) {
    buffer[text.copy(buffer, lengthToKeep(text, size - 1))] = '\0';
}

template<std::size_t size>
void copyCut(char (&buffer)[size], const char* text) {
    copyCut(buffer, cut(text, size - 1));
}

} // namespace platform
