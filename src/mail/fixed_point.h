// What writers and readers of fixed-point numbers have in common.
#pragma once

#include <algorithm>
#include <cstdint>

namespace Mail {

// Limits a width to those that a field can have.
inline unsigned char fieldWidth(int bits) {
    return static_cast<unsigned char>(std::clamp(bits, 0, 32));
}

inline double powerOfTwo(unsigned char exponent) {
    return static_cast<double>(std::uint64_t{1} << exponent);
}

// How far below 0 the range of a signed integer field reaches.
inline double offsetOf(unsigned char intBits) {
    return powerOfTwo(intBits) / 2;
}

} // namespace Mail
