#include "Math/Half.h"

#include "math/half_rules.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <numeric>

namespace {

std::uint32_t bitsOf(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

// Every middle and every half with their neighbours, every exponent's ends, a stride through the
// rest, in both signs; not-a-numbers, infinities and denormals among them.
std::vector<float> sampledFloats() {
    std::vector<std::uint32_t> bits;
    const auto addAround = [&](std::uint32_t centre) {
        for (std::uint32_t b = centre - 1; b != centre + 2; ++b) {
            bits.push_back(b & 0x7FFFFFFF);
        }
    };
    for (std::uint16_t h = 0; h < half_rules::kInfinity; ++h) {
        addAround(bitsOf(static_cast<float>(half_rules::valueOf(h))));
        addAround(bitsOf(static_cast<float>(half_rules::middles()[h])));
    }
    for (std::uint32_t exponent = 0; exponent < 256; ++exponent) {
        addAround(exponent << 23);
    }
    for (std::uint32_t b = 0; b < 0x80000000; b += 4093) {
        bits.push_back(b);
    }
    std::vector<float> floats;
    for (const std::uint32_t b : bits) {
        floats.push_back(std::bit_cast<float>(b));
        floats.push_back(std::bit_cast<float>(b | 0x80000000));
    }
    return floats;
}

std::vector<unsigned short> allHalfs() {
    std::vector<unsigned short> halfs(65536);
    std::iota(halfs.begin(), halfs.end(), static_cast<unsigned short>(0));
    return halfs;
}

TEST(Half, KnownValues) {
    EXPECT_EQ(Math::float2half(-2.0F), 0xC000);
    EXPECT_EQ(Math::float2half(65520.0F), 0x7C00);
    EXPECT_EQ(Math::float2half(1 + 0x1p-11F), 0x3C01); // a middle, away from the even neighbour
    EXPECT_EQ(Math::float2half(-0.0F), 0x0000);
    EXPECT_EQ(Math::float2half(std::bit_cast<float>(0xFF800001)), 0xFC00); // loses all it has
    EXPECT_EQ(Math::half2float(0x0001), 0x1p-24F);
}

TEST(Half, EveryHalfBecomesTheFloatOfItsValue) {
    for (const unsigned short half : allHalfs()) {
        ASSERT_EQ(bitsOf(Math::half2float(half)), half_rules::floatBitsOf(half)) << half;
    }
}

TEST(Half, FloatsBecomeTheNearestHalf) {
    for (const float value : sampledFloats()) {
        ASSERT_EQ(Math::float2half(value), half_rules::halfOf(value)) << std::hex << bitsOf(value);
    }
}

TEST(Half, ArraysGiveTheSameBits) {
    const std::vector<float> floats = sampledFloats();
    std::vector<unsigned short> halfs(floats.size());
    Math::float2half(halfs.data(), floats.data(), floats.size());
    for (std::size_t i = 0; i < floats.size(); ++i) {
        ASSERT_EQ(halfs[i], Math::float2half(floats[i])) << std::hex << bitsOf(floats[i]);
    }

    halfs = allHalfs();
    std::vector<float> back(halfs.size());
    Math::half2float(back.data(), halfs.data(), halfs.size());
    for (std::size_t i = 0; i < halfs.size(); ++i) {
        ASSERT_EQ(bitsOf(back[i]), bitsOf(Math::half2float(halfs[i]))) << i;
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
                ASSERT_EQ(halfs[offset + i], half_rules::halfOf(floats[offset + i]));
                ASSERT_EQ(bitsOf(back[offset + i]), half_rules::floatBitsOf(halfs[offset + i]));
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
