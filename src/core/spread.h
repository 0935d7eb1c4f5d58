// The factor of multiplicative hashes.
#pragma once

#include <cstdint>

namespace core {

// 2^64 divided by the golden ratio. The upper bits of its product with a number depend on all bits
// of the number, and numbers that are close to each other give products that are far apart.
inline constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;

} // namespace core
