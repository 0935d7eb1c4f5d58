// The generator behind the random tables and the temporary names: like the C library's rand with a
// maximum of 32767, but the same on every system and with a state of its own.
#pragma once

#include <cstdint>

namespace core {

class LibraryRand {
public:
    static constexpr int kMaximum = 0x7FFF;

    constexpr explicit LibraryRand(std::uint32_t seed) : state_(seed) {}

    // From 0 to kMaximum.
    constexpr int next() {
        state_ = state_ * 214013 + 2531011;
        return static_cast<int>(state_ >> 16 & kMaximum);
    }

private:
    std::uint32_t state_;
};

} // namespace core
