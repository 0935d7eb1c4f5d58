#include "Math/Half.h"

#include "math/half_f16c.h"

#include <bit>
#include <cstdint>

namespace Math {

namespace {

constexpr std::uint32_t kFloatFraction = 0x007FFFFF;
constexpr std::uint32_t kFloatImplicit = 0x00800000;
constexpr int kFloatFractionBits = 23;
constexpr int kFloatSpecial = 255; // the exponent field of infinities and not-a-numbers
constexpr std::uint32_t kFloatInfinity = 0x7F800000;
constexpr std::uint32_t kFloatQuiet = 0x00400000;

constexpr std::uint32_t kHalfSign = 0x8000;
constexpr std::uint32_t kHalfFraction = 0x03FF;
constexpr std::uint32_t kHalfImplicit = 0x0400;
constexpr int kHalfFractionBits = 10;
constexpr int kHalfSpecial = 31;
constexpr std::uint32_t kHalfInfinity = 0x7C00;

constexpr int kBiasDifference = 127 - 15;
constexpr int kDropped = kFloatFractionBits - kHalfFractionBits;
constexpr std::uint32_t kMiddle = 1u << (kDropped - 1); // half of a half's last bit

// Rounds to nearest, middles upwards. A fraction that overflows carries into the exponent, and the
// largest finite half becomes infinity in the same way.
constexpr std::uint32_t roundMagnitude(std::uint32_t magnitude) {
    return (magnitude + kMiddle) >> kDropped;
}

constexpr std::uint32_t magnitudeToHalf(int exponent, std::uint32_t fraction) {
    if (exponent == kFloatSpecial) {
        return kHalfInfinity | fraction >> kDropped;
    }
    exponent -= kBiasDifference;
    if (exponent >= kHalfSpecial) {
        return kHalfInfinity;
    }
    if (exponent > 0) {
        return roundMagnitude(static_cast<std::uint32_t>(exponent) << kFloatFractionBits |
                              fraction);
    }
    if (exponent < -kHalfFractionBits) {
        return 0;
    }
    return roundMagnitude((fraction | kFloatImplicit) >> (1 - exponent));
}

constexpr std::uint32_t magnitudeToFloat(std::uint32_t exponent, std::uint32_t fraction) {
    if (exponent == kHalfSpecial) {
        return kFloatInfinity | (fraction == 0 ? 0 : kFloatQuiet | fraction << kDropped);
    }
    if (exponent == 0) {
        if (fraction == 0) {
            return 0;
        }
        const int shifts = std::countl_zero(fraction) - std::countl_zero(kHalfImplicit);
        fraction = fraction << shifts & kHalfFraction;
        exponent = 1u - static_cast<std::uint32_t>(shifts); // may wrap around; the sum wraps back
    }
    return (exponent + kBiasDifference) << kFloatFractionBits | fraction << kDropped;
}

bool useF16c() {
    static const bool offered = math::hasF16c();
    return offered;
}

} // namespace

unsigned short float2half(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const auto exponent = static_cast<int>(bits >> kFloatFractionBits & 0xFF);
    const std::uint32_t magnitude = magnitudeToHalf(exponent, bits & kFloatFraction);
    return static_cast<unsigned short>(magnitude == 0 ? 0 : (bits >> 16 & kHalfSign) | magnitude);
}

float half2float(unsigned short half) {
    const std::uint32_t bits = half;
    const std::uint32_t exponent = bits >> kHalfFractionBits & 0x1F;
    return std::bit_cast<float>((bits & kHalfSign) << 16 |
                                magnitudeToFloat(exponent, bits & kHalfFraction));
}

void float2half(unsigned short* out, const float* in, std::size_t count) {
    std::size_t i = useF16c() ? math::float2halfF16c(out, in, count) : 0;
    for (; i < count; ++i) {
        out[i] = float2half(in[i]);
    }
}

void half2float(float* out, const unsigned short* in, std::size_t count) {
    std::size_t i = useF16c() ? math::half2floatF16c(out, in, count) : 0;
    for (; i < count; ++i) {
        out[i] = half2float(in[i]);
    }
}

} // namespace Math
