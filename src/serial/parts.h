// The messages of a state.
#pragma once

#include "Serial/Bufferizer.h"
#include "serial/bits.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace serial {

// At the beginning of each message; the last byte is the version of the format.
inline constexpr unsigned char kPartMark[4] = {'Q', 'Z', 'B', 1};

struct PartHeader {
    Common::detail::StateHeader state;
    std::uint16_t index;
    std::uint16_t count;
};

// The mark, four words, two half words, the sum.
inline constexpr std::size_t kPartHeaderSize = 28;
inline constexpr std::size_t kPartBytes = Mail::Message::kMaxSize - kPartHeaderSize;

// As many messages as the bytes need. None if they are too many, or there is no memory for all.
std::vector<Mail::Message> cut(const Common::detail::StateHeader& state, const Bytes& bytes,
                               std::uint32_t address);

} // namespace serial
