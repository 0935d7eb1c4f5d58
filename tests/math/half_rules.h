// What half floats are and how floats become halfs, stated without the bit arithmetic of the code
// under test: each half by the value it stands for, each rounding by the middles between values.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace half_rules {

constexpr std::uint16_t kInfinity = 0x7C00;

// The value of a half with the sign bit clear; that of infinity is what its place in the sequence
// makes it, 2^16, from which the middle below it follows.
inline double valueOf(std::uint16_t magnitude) {
    const int exponent = magnitude / 1024;
    const int fraction = magnitude % 1024;
    return exponent == 0 ? std::ldexp(fraction, -24)
                         : std::ldexp(1024 + fraction, exponent - 15 - 10);
}

// middles()[h]: from this magnitude on, values belong to h + 1.
inline const std::vector<double>& middles() {
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
inline std::uint16_t halfOfNan(std::uint32_t bits) {
    const std::uint32_t upperTen = bits / 8192 % 1024;
    return static_cast<std::uint16_t>((std::signbit(std::bit_cast<float>(bits)) ? 0xFC00 : 0x7C00) +
                                      upperTen);
}

inline std::uint16_t withSign(std::uint16_t magnitude, float of) {
    return static_cast<std::uint16_t>(magnitude != 0 && std::signbit(of) ? magnitude + 0x8000
                                                                         : magnitude);
}

inline std::uint16_t halfOf(float value) {
    if (std::isnan(value)) {
        return halfOfNan(std::bit_cast<std::uint32_t>(value));
    }
    const double magnitude = std::fabs(static_cast<double>(value));
    const auto place = std::upper_bound(middles().begin(), middles().end(), magnitude);
    return withSign(static_cast<std::uint16_t>(place - middles().begin()), value);
}

inline std::uint32_t floatBitsOf(std::uint16_t half) {
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
