// Finds the ends of lines.
#pragma once

#include "platform/compiler.h"

#include <bit>
#include <cstddef>

#ifdef QZ_X64
#    include <emmintrin.h>
#endif

namespace shm {

inline bool isLineEnd(char c) {
    return c == '\r' || c == '\n';
}

#ifdef QZ_X64

constexpr std::ptrdiff_t kStep = 16, kStride = 64;

// A mask for 16 bytes: all ones for each byte that ends a line, zeros for the others.
inline __m128i lineEndsAt(const char* text) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    return _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')),
                        _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')));
}

inline bool hasLineEnd(const char* stride) {
    const __m128i first = _mm_or_si128(lineEndsAt(stride), lineEndsAt(stride + kStep));
    const __m128i second =
        _mm_or_si128(lineEndsAt(stride + 2 * kStep), lineEndsAt(stride + 3 * kStep));
    return _mm_movemask_epi8(_mm_or_si128(first, second)) != 0;
}

inline const char* findInSteps(const char* text, const char* end) {
    for (; end - text >= kStep; text += kStep) {
        const auto ends = static_cast<unsigned int>(_mm_movemask_epi8(lineEndsAt(text)));
        if (ends != 0) {
            return text + std::countr_zero(ends);
        }
    }
    while (text != end && !isLineEnd(*text)) {
        ++text;
    }
    return text;
}

// Fetches the bytes that will be looked at soon: the processor by itself does not fetch across the
// end of a page.
inline void fetchAhead(const char* text, const char* end) {
    constexpr std::ptrdiff_t kAhead = 2048;
    _mm_prefetch(end - text > kAhead ? text + kAhead : text, _MM_HINT_T0);
}

// The first line end, or `end`. Most lines are short, so the first kStride bytes are searched in
// steps, and only the rest in strides.
inline const char* findLineEnd(const char* text, const char* end) {
    fetchAhead(text, end);
    const char* const near = end - text > kStride ? text + kStride : end;
    const char* const found = findInSteps(text, near);
    if (found != near) {
        return found;
    }
    for (text = near; end - text >= kStride && !hasLineEnd(text); text += kStride) {
        fetchAhead(text, end);
    }
    return findInSteps(text, end);
}

#else

inline const char* findLineEnd(const char* text, const char* end) {
    while (text != end && !isLineEnd(*text)) {
        ++text;
    }
    return text;
}

#endif

// Byte by byte, because most lines end with one or two such bytes.
inline const char* skipLineEnds(const char* text, const char* end) {
    while (text != end && isLineEnd(*text)) {
        ++text;
    }
    return text;
}

} // namespace shm
