// All 2^32 floats, through the single conversion and through the arrays.
#include "Math/Half.h"

#include "math/half_rules.h"

#include <gtest/gtest.h>

namespace {

// The expected half of ascending magnitudes, without a search for each.
class Ascending {
public:
    std::uint16_t next(float value) {
        const double magnitude = std::fabs(static_cast<double>(value));
        while (half_ < half_rules::kInfinity && magnitude >= half_rules::middles()[half_]) {
            ++half_;
        }
        return half_rules::withSign(half_, value);
    }

private:
    std::uint16_t half_ = 0;
};

void checkEveryMagnitude(std::uint32_t sign) {
    constexpr std::uint32_t kBlock = 1 << 16;
    std::vector<float> floats(kBlock);
    std::vector<unsigned short> halfs(kBlock);
    Ascending ascending;
    for (std::uint32_t first = 0; first < 0x80000000; first += kBlock) {
        for (std::uint32_t i = 0; i < kBlock; ++i) {
            floats[i] = std::bit_cast<float>(sign | (first + i));
        }
        Math::float2half(halfs.data(), floats.data(), kBlock);
        for (std::uint32_t i = 0; i < kBlock; ++i) {
            const std::uint16_t expected = std::isnan(floats[i])
                                               ? half_rules::halfOfNan(sign | (first + i))
                                               : ascending.next(floats[i]);
            if (halfs[i] != expected || Math::float2half(floats[i]) != expected) {
                FAIL() << std::hex << "float " << (sign | (first + i)) << ": array " << halfs[i]
                       << ", single " << Math::float2half(floats[i]) << ", expected " << expected;
            }
        }
    }
}

TEST(HalfExhaustive, PositiveFloats) {
    checkEveryMagnitude(0);
}

TEST(HalfExhaustive, NegativeFloats) {
    checkEveryMagnitude(0x80000000);
}

} // namespace
