#include "Math/Half.h"
#include "support/test.h"

#include <bit>
#include <cfenv>

namespace {

// What half floats are and how floats become halfs, stated without the bit arithmetic of the code
// under test: each half by the value it stands for, each rounding by the middles between values.
namespace half_rules {

constexpr std::uint16_t kInfinity = 0x7C00;

// The value of a half with the sign bit clear; that of infinity is what its place in the sequence
// makes it, 2^16, from which the middle below it follows.
double valueOf(std::uint16_t magnitude) {
    const int exponent = magnitude / 1024;
    const int fraction = magnitude % 1024;
    return exponent == 0 ? std::ldexp(fraction, -24)
                         : std::ldexp(1024 + fraction, exponent - 15 - 10);
}

// middles()[h]: from this magnitude on, values belong to h + 1.
const std::vector<double>& middles() {
    static const std::vector<double> all = [] {
        std::vector<double> result;
        for (std::uint16_t h = 0; h < kInfinity; ++h) {
            result.push_back((valueOf(h) + valueOf(static_cast<std::uint16_t>(h + 1))) / 2);
        }
        return result;
    }();
    return all;
}

// Not-a-numbers are all that is left to bits.
std::uint16_t halfOfNan(std::uint32_t bits) {
    const std::uint32_t upperTen = bits / 8192 % 1024;
    return static_cast<std::uint16_t>((std::signbit(std::bit_cast<float>(bits)) ? 0xFC00 : 0x7C00) +
                                      upperTen);
}

std::uint16_t withSign(std::uint16_t magnitude, float of) {
    return static_cast<std::uint16_t>(magnitude != 0 && std::signbit(of) ? magnitude + 0x8000
                                                                         : magnitude);
}

std::uint16_t halfOf(float value) {
    if (std::isnan(value)) {
        return halfOfNan(std::bit_cast<std::uint32_t>(value));
    }
    const double magnitude = std::fabs(static_cast<double>(value));
    const auto place = std::upper_bound(middles().begin(), middles().end(), magnitude);
    return withSign(static_cast<std::uint16_t>(place - middles().begin()), value);
}

std::uint32_t floatBitsOf(std::uint16_t half) {
    const auto magnitude = static_cast<std::uint16_t>(half % 0x8000);
    const std::uint32_t sign = half >= 0x8000 ? 0x80000000 : 0;
    if (magnitude < kInfinity) {
        return sign + std::bit_cast<std::uint32_t>(static_cast<float>(valueOf(magnitude)));
    }
    if (magnitude == kInfinity) {
        return sign + 0x7F800000;
    }
    const std::uint32_t fraction = magnitude % 1024u * 8192;
    return sign + (0x7FC00000 | fraction); // always quiet
}

} // namespace half_rules

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

TEST(Half, KnownValues) {
    EXPECT_EQ(Math::float2half(-2.0F), 0xC000);
    EXPECT_EQ(Math::float2half(65520.0F), 0x7C00);
    EXPECT_EQ(Math::float2half(1 + 0x1p-11F), 0x3C01); // a middle, away from the even neighbour
    EXPECT_EQ(Math::float2half(-0.0F), 0x0000);
    EXPECT_EQ(Math::float2half(std::bit_cast<float>(0xFF800001)), 0xFC00); // loses all it has
    EXPECT_EQ(Math::half2float(0x0001), 0x1p-24F);
}

TEST(Half, EveryHalfBecomesTheFloatOfItsValue) {
    std::vector<unsigned short> halfs(65536);
    std::iota(halfs.begin(), halfs.end(), static_cast<unsigned short>(0));
    std::vector<float> floats(halfs.size());
    Math::half2float(floats.data(), halfs.data(), halfs.size());
    for (const unsigned short half : halfs) {
        ASSERT_EQ(bitsOf(Math::half2float(half)), half_rules::floatBitsOf(half)) << half;
        ASSERT_EQ(bitsOf(floats[half]), half_rules::floatBitsOf(half)) << half;
    }
}

TEST(Half, FloatsBecomeTheNearestHalf) {
    const std::vector<float> floats = sampledFloats();
    std::vector<unsigned short> halfs(floats.size());
    Math::float2half(halfs.data(), floats.data(), floats.size());
    for (std::size_t i = 0; i < floats.size(); ++i) {
        const std::uint16_t expected = half_rules::halfOf(floats[i]);
        ASSERT_EQ(Math::float2half(floats[i]), expected) << std::hex << bitsOf(floats[i]);
        ASSERT_EQ(halfs[i], expected) << std::hex << bitsOf(floats[i]);
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
