// Saving to memory and loading from it; states and their messages.
#pragma once

#include "Serial/Bufferizer.h"

#include "Core/Hash.h"
#include "IO/MemoryStream.h"
#include "support/test.h"

namespace qz::test {

// Classes by their names, each made by a function.
class TestFactory : public Common::Factory {
public:
    using Makers = std::map<Common::Identifier, std::function<Common::Identifiable*()>>;

    explicit TestFactory(const Makers& makers) : makers_(makers) {
        for (const auto& [name, make] : makers) {
            addIdentifier(name);
        }
    }

    Common::Identifiable* create(const Common::Identifier& name) override {
        return makers_.at(name)();
    }

private:
    Makers makers_;
};

inline std::string littleEndian(std::uint64_t value, int size) {
    std::string bytes;
    for (; size > 0; --size) {
        bytes += static_cast<char>(value);
        value >>= 8;
    }
    return bytes;
}

// The sum that files and messages have: of the bytes behind a header, beginning with its own.
inline std::string seededSum(const std::string& header, const std::string& body) {
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(header.data(), header.size(), 0));
    return littleEndian(QZ_hash_data(body.data(), body.size(), seed), 4);
}

// Gives a body a header and a sum.
inline std::string fileWith(const std::string& body, char version = 1) {
    const std::string header = "\x89QZO\r\n\x1A"s + version + littleEndian(body.size(), 8);
    return header + body + seededSum(header, body);
}

template<class T>
std::string save(T& value, std::uint32_t version = 0,
                 const Common::CommonSerializer::Options& options = {}) {
    io::MemoryStream stream;
    Common::CommonSerializer serializer(stream, version, options);
    serializer.transfer("world", value);
    if (!serializer.finish()) {
        return "error: " + serializer.getError();
    }
    const auto bytes = stream.bytes();
    return {bytes.begin(), bytes.end()};
}

// The error; empty if there is none.
template<class T>
std::string load(const std::string& bytes, T& value, Common::FactoryManager& factories,
                 const Common::CommonSerializer::Limits& limits = {}) {
    io::BlockStream stream(bytes.data(), bytes.size());
    Common::CommonSerializer serializer(stream, factories, limits);
    serializer.transfer("world", value);
    serializer.finish();
    return serializer.getError();
}

using Messages = std::vector<Mail::Message>;

constexpr std::size_t kHeader = 36; // of each message of a state

inline std::string bytesOf(const Mail::Message& message) {
    std::string bytes(message.getSize(), 0);
    message.getBytes(bytes.data(), bytes.size());
    return bytes;
}

inline Mail::Message messageOf(const std::string& bytes) {
    Mail::Message message(7);
    message.addBytes(bytes.data(), bytes.size());
    return message;
}

inline std::size_t sizeOf(const Messages& messages) {
    std::size_t size = 0;
    for (const Mail::Message& message : messages) {
        size += message.getSize();
    }
    return size;
}

inline Common::StateParts partsOf(const Messages& messages) {
    Common::StateParts parts;
    for (const Mail::Message& message : messages) {
        parts.add(message);
    }
    return parts;
}

} // namespace qz::test
