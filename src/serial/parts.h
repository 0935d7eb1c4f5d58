// The messages that a state is sent in.
#pragma once

#include "Serial/Bufferizer.h"
#include "serial/bits.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace serial {

// Each message begins with it. The last byte is the version of the format.
inline constexpr unsigned char kPartMark[4] = {'Q', 'Z', 'B', 3};

struct PartHeader {
    Common::detail::StateHeader state;
    std::uint16_t index;
};

// The header has the mark, six words, two half words and the sum.
inline constexpr std::size_t kPartHeaderSize = 36;

// At least 1: an empty state has a part, too.
inline std::size_t countParts(const Common::detail::StateHeader& state) {
    return state.size == 0 ? 1 : (std::size_t{state.size} - 1) / state.partSize + 1;
}

// Cuts the bytes of a state into messages of up to `mostBytes` bytes. Returns none if there would
// be too many, if no message can have that size, or if there is no memory for all.
std::vector<Mail::Message> cut(Common::detail::StateHeader state, const Bytes& bytes,
                               std::uint32_t address, std::size_t mostBytes);
inline constexpr char kNotCut[] = "no memory for the messages, a size that none has, or too many";

// A random number, not 0.
std::uint32_t newSession();

} // namespace serial
