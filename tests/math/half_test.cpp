#include "Math/Half.h"
#include "support/test.h"

#include <bit>
#include <cfenv>

namespace {

constexpr std::uint16_t kInfinity = 0x7C00, kSign = 0x8000;

// The value of a half with the sign bit clear, without the bit arithmetic of the code under test.
// Infinity counts as 2^16, the next value in the sequence, so the middle below it is right, too.
double valueOf(std::uint16_t magnitude) {
    const int exponent = magnitude / 1024;
    const int fraction = magnitude % 1024;
    return exponent == 0 ? std::ldexp(fraction, -24)
                         : std::ldexp(1024 + fraction, exponent - 15 - 10);
}

std::uint32_t bitsOf(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

std::uint32_t floatBitsOf(std::uint16_t half) {
    const auto magnitude = static_cast<std::uint16_t>(half % kSign);
    const std::uint32_t sign = half >= kSign ? 0x80000000 : 0;
    if (magnitude < kInfinity) {
        return sign + bitsOf(static_cast<float>(valueOf(magnitude)));
    }
    // Not-a-number keeps its fraction bits and becomes quiet.
    return sign + (magnitude == kInfinity ? 0x7F800000 : 0x7FC00000 | magnitude % 1024u * 8192);
}

TEST(Half, EveryHalfBecomesTheFloatOfItsValue) {
    std::vector<unsigned short> halfs(65536);
    std::iota(halfs.begin(), halfs.end(), static_cast<unsigned short>(0));
    std::vector<float> floats(halfs.size());
    Math::half2float(floats.data(), halfs.data(), halfs.size());
    for (const unsigned short half : halfs) {
        ASSERT_EQ(bitsOf(Math::half2float(half)), floatBitsOf(half)) << half;
        ASSERT_EQ(bitsOf(floats[half]), floatBitsOf(half)) << half;
    }
}

// Tests each interval that rounds to one half at both of its ends.
TEST(Half, FloatsBecomeTheNearestHalf) {
    std::vector<float> floats;
    std::vector<unsigned short> expected, halfs;
    const auto add = [&](float value, unsigned half) {
        floats.insert(floats.end(), {value, -value});
        expected.push_back(static_cast<unsigned short>(half));
        expected.push_back(static_cast<unsigned short>(half == 0 ? 0 : half + kSign));
    };
    for (std::uint16_t h = 0; h < kInfinity; ++h) {
        const double value = valueOf(h), next = valueOf(static_cast<std::uint16_t>(h + 1));
        const auto middle = static_cast<float>((value + next) / 2);
        add(static_cast<float>(value), h);
        add(std::nextafter(middle, 0.0F), h);
        add(middle, h + 1U);
    }
    for (const float beyond : {std::nextafter(65520.0F, 1e9F), 1e30F, INFINITY}) {
        add(beyond, kInfinity);
    }
    for (std::uint32_t nan = 1; nan < 1 << 23; nan += 4093) {
        add(std::bit_cast<float>(0x7F800000 + nan), kInfinity + nan / 8192);
    }
    halfs.resize(floats.size());
    Math::float2half(halfs.data(), floats.data(), floats.size());
    for (std::size_t i = 0; i < floats.size(); ++i) {
        ASSERT_EQ(Math::float2half(floats[i]), expected[i]) << std::hex << bitsOf(floats[i]);
        ASSERT_EQ(halfs[i], expected[i]) << std::hex << bitsOf(floats[i]);
    }
    unsigned last = 0;
    for (std::uint32_t bits = 0; bits <= 0x7F800000; bits += 4093) {
        const unsigned half = Math::float2half(std::bit_cast<float>(bits));
        ASSERT_GE(half, last) << std::hex << bits;
        last = half;
    }
}

TEST(Half, ArraysOfAnyLengthAndPlaceStayInTheirBounds) {
    Math::float2half(nullptr, nullptr, 0);
    Math::half2float(nullptr, nullptr, 0);
    constexpr unsigned short kUntouched = 0x1234;
    for (std::size_t length = 0; length <= 40; ++length) {
        for (std::size_t offset = 0; offset < 4; ++offset) {
            std::vector<float> floats(offset + length, -0.0F);
            for (std::size_t i = 0; i < length; ++i) {
                // Infinities in some groups and lengths, none in others.
                floats[offset + i] = i % 11 == length % 7 ? INFINITY : 0.1F * static_cast<float>(i);
            }
            std::vector<unsigned short> halfs(offset + length + 1, kUntouched);
            Math::float2half(halfs.data() + offset, floats.data() + offset, length);
            std::vector<float> back(offset + length + 1, -1.0F);
            Math::half2float(back.data() + offset, halfs.data() + offset, length);
            for (std::size_t i = 0; i < length; ++i) {
                ASSERT_EQ(halfs[offset + i], Math::float2half(floats[offset + i]));
                ASSERT_EQ(bitsOf(back[offset + i]), floatBitsOf(halfs[offset + i]));
            }
            ASSERT_EQ(halfs.back(), kUntouched);
            ASSERT_EQ(back.back(), -1.0F);
            ASSERT_TRUE(offset == 0 || halfs[offset - 1] == kUntouched);
        }
    }
}

TEST(Half, TheFloatingPointEnvironmentNeitherMattersNorChanges) {
    const std::vector<float> floats(16, 1 + 0x1p-11F + 0x1p-20F);
    std::vector<unsigned short> halfs(floats.size());
    ASSERT_EQ(std::fesetround(FE_DOWNWARD), 0);
    std::feclearexcept(FE_ALL_EXCEPT);
    Math::float2half(halfs.data(), floats.data(), floats.size());
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
    EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(halfs, std::vector<unsigned short>(floats.size(), 0x3C01));
}

} // namespace
