// Any bits as a state, in a message whose header and sum are right.
#pragma once

#include "Core/Hash.h"
#include "Mail/Message.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

constexpr std::size_t kStateHeader = 28;

inline std::string bytesOf(const Mail::Message& message) {
    std::string bytes(message.getSize(), 0);
    message.getBytes(bytes.data(), bytes.size());
    return bytes;
}

// The state of this number, beside the one that the message `base` has, or whole if that is empty.
// Its own sum is wrong.
inline Mail::Message stateMessage(std::uint32_t number, const std::string& base,
                                  const std::string& bits) {
    std::string bytes("QZB\1", 4);
    const auto append = [&](std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            bytes += static_cast<char>(value >> 8 * i);
        }
    };
    append(number, 4);
    append(0x12345678, 4);
    bytes += base.empty() ? std::string(8, 0) : base.substr(4, 8);
    append(0, 2);
    append(1, 2);
    const std::string state = bits.substr(0, 60'000);
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(bytes.data(), bytes.size(), 0));
    append(QZ_hash_data(state.data(), state.size(), seed), 4);
    bytes += state;
    Mail::Message message(1);
    message.addBytes(bytes.data(), bytes.size());
    return message;
}
