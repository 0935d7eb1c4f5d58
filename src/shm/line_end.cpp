#include "shm/line_end.h"

#include <bit>

#ifdef __SSE2__
#    include <emmintrin.h>
#endif

namespace shm {

namespace {

constexpr char kCarriageReturn = 13;
constexpr char kLineFeed = 10;

bool isLineEnd(char c) {
    return c == kCarriageReturn || c == kLineFeed;
}

#ifdef __SSE2__
constexpr int kBlock = 16;

// A bit for each byte that ends a line.
unsigned int lineEndsIn(const char* block) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block));
    const __m128i ends = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(kCarriageReturn)),
                                      _mm_cmpeq_epi8(bytes, _mm_set1_epi8(kLineFeed)));
    return static_cast<unsigned int>(_mm_movemask_epi8(ends));
}
#endif

} // namespace

const char* findLineEnd(const char* text, const char* end) {
#ifdef __SSE2__
    for (; end - text >= kBlock; text += kBlock) {
        const unsigned int ends = lineEndsIn(text);
        if (ends != 0) {
            return text + std::countr_zero(ends);
        }
    }
#endif
    while (text != end && !isLineEnd(*text)) {
        ++text;
    }
    return text;
}

// Mostly one or two of them, so there is nothing to gain from blocks.
const char* skipLineEnds(const char* text, const char* end) {
    while (text != end && isLineEnd(*text)) {
        ++text;
    }
    return text;
}

} // namespace shm
