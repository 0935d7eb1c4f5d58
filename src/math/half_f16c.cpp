#include "math/half_f16c.h"

#include "Math/Half.h"
#include "platform/compiler.h"

#if defined(QZ_X64)

#    include <immintrin.h>

// Only these functions use the instructions, so the library runs on processors without them, too.
// They use 128 bits at a time: GCC cannot keep 256-bit values safely on the stack of 64-bit
// Windows.
#    define QZ_TARGET_F16C QZ_FOR_PROCESSOR("avx,f16c")

namespace math {

namespace {

// Sets the default floating-point environment and restores the host's. With denormals read as zero
// or exceptions unmasked, conversions would give other results or trap.
class DefaultFloatingPoint {
public:
    DefaultFloatingPoint() : saved_(_mm_getcsr()) { _mm_setcsr(kMaskedRoundToNearest); }
    ~DefaultFloatingPoint() { _mm_setcsr(saved_); }
    DefaultFloatingPoint(const DefaultFloatingPoint&) = delete;
    DefaultFloatingPoint& operator=(const DefaultFloatingPoint&) = delete;

private:
    static constexpr unsigned kMaskedRoundToNearest = 0x1F80;
    const unsigned saved_;
};

constexpr std::size_t kGroup = 8;

// The instruction rounds to nearest, and values in the middle to even; they should round away from
// zero. Setting a value's lowest bit moves it off the middle, away from zero. Other values round as
// before, because that bit is far below the last bit of a half.
QZ_TARGET_F16C inline __m128i roundToHalfs(const float* in) {
    const __m128 lowestBit = _mm_castsi128_ps(_mm_set1_epi32(1));
    return _mm_cvtps_ph(_mm_or_ps(_mm_loadu_ps(in), lowestBit), _MM_FROUND_TO_NEAREST_INT);
}

QZ_TARGET_F16C inline bool anyInfiniteOrNan(__m128i halfs) {
    const __m128i exponent = _mm_set1_epi16(0x7C00);
    return _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(halfs, exponent), exponent)) != 0;
}

QZ_TARGET_F16C inline __m128i withoutNegativeZero(__m128i halfs) {
    const __m128i negativeZero = _mm_set1_epi16(-0x8000);
    return _mm_andnot_si128(_mm_cmpeq_epi16(halfs, negativeZero), halfs);
}

QZ_TARGET_F16C void convertGroups(unsigned short* out, const float* in, std::size_t end) {
    for (std::size_t i = 0; i < end; i += kGroup) {
        const __m128i halfs = _mm_unpacklo_epi64(roundToHalfs(in + i), roundToHalfs(in + i + 4));
        if (anyInfiniteOrNan(halfs)) [[unlikely]] {
            // The set bit has turned infinities into not-a-number; float2half converts both.
            for (std::size_t j = i; j < i + kGroup; ++j) {
                out[j] = Math::float2half(in[j]);
            }
            continue;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), withoutNegativeZero(halfs));
    }
}

QZ_TARGET_F16C void convertGroups(float* out, const unsigned short* in, std::size_t end) {
    for (std::size_t i = 0; i < end; i += kGroup) {
        _mm_storeu_ps(out + i, _mm_cvtph_ps(_mm_loadu_si64(in + i)));
        _mm_storeu_ps(out + i + 4, _mm_cvtph_ps(_mm_loadu_si64(in + i + 4)));
    }
}

template<typename To, typename From>
std::size_t convert(To* out, const From* in, std::size_t count) {
    const std::size_t end = count - count % kGroup;
    const DefaultFloatingPoint environment;
    convertGroups(out, in, end);
    return end;
}

} // namespace

bool hasF16c() {
    constexpr std::uint32_t kNeeded = 1U << 27 | 1U << 28 | 1U << 29; // OSXSAVE, AVX, F16C
    constexpr std::uint64_t kWideRegisters =
        6; // the instructions need them, and the system must save them
    return (platform::processorFeatures() & kNeeded) == kNeeded &&
           (platform::savedRegisters() & kWideRegisters) == kWideRegisters;
}

std::size_t float2halfF16c(unsigned short* out, const float* in, std::size_t count) {
    return convert(out, in, count);
}

std::size_t half2floatF16c(float* out, const unsigned short* in, std::size_t count) {
    return convert(out, in, count);
}

} // namespace math

#else

namespace math {

bool hasF16c() {
    return false;
}

std::size_t float2halfF16c(unsigned short*, const float*, std::size_t) {
    return 0;
}

std::size_t half2floatF16c(float*, const unsigned short*, std::size_t) {
    return 0;
}

} // namespace math

#endif
