// Makes a message with any bits as its state, and with a valid header and sum.
#pragma once

#include "Core/Hash.h"
#include "Mail/Message.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

constexpr std::size_t kStateHeader = 36;

inline std::string bytesOf(const Mail::Message& message) {
    std::string bytes(message.getSize(), 0);
    message.getBytes(bytes.data(), bytes.size());
    return bytes;
}

// A state of the sender of the message `known`: whole, or as changes against the state in `known`.
// The sum of the state is `sum`, by default a wrong one.
inline Mail::Message stateMessage(std::uint32_t number, const std::string& known, bool isWhole,
                                  const std::string& bits, std::uint32_t sum = 0x12345678) {
    std::string bytes("QZB\3", 4);
    const auto append = [&](std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            bytes += static_cast<char>(value >> 8 * i);
        }
    };
    const std::string state = bits.substr(0, 60'000);
    bytes += known.substr(4, 4); // the session
    append(number, 4);
    append(sum, 4);
    bytes += isWhole ? std::string(8, 0) : known.substr(8, 8);
    append(state.size(), 4);
    append(60'000, 2);
    append(0, 2);
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(bytes.data(), bytes.size(), 0));
    append(QZ_hash_data(state.data(), state.size(), seed), 4);
    bytes += state;
    Mail::Message message(1);
    message.addBytes(bytes.data(), bytes.size());
    return message;
}
