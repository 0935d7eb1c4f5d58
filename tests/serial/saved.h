// Saving to memory and loading from it.
#pragma once

#include "Serial/CommonSerializer.h"

#include "Core/Hash.h"
#include "IO/MemoryStream.h"

#include <functional>
#include <string>

namespace qz::test {

// Classes by their names, each made by a function.
class TestFactory : public Common::Factory {
public:
    void add(const char* name, std::function<Common::Identifiable*()> make) {
        addIdentifier(name);
        makers_.emplace_back(name, std::move(make));
    }

    Common::Identifiable* create(const Common::Identifier& identifier) override {
        for (const auto& [name, make] : makers_) {
            if (identifier == Common::Identifier(name)) {
                return make();
            }
        }
        return nullptr;
    }

private:
    std::vector<std::pair<const char*, std::function<Common::Identifiable*()>>> makers_;
};

// Gives a body a header and a sum.
inline std::string fileWith(const std::string& body, char version = 1) {
    std::string file("\x89QZO\r\n\x1A");
    file += version;
    for (int i = 0; i < 8; ++i) {
        file += static_cast<char>(body.size() >> 8 * i);
    }
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(file.data(), file.size(), 0));
    const auto sum = QZ_hash_data(body.data(), body.size(), seed);
    file += body;
    for (int i = 0; i < 4; ++i) {
        file += static_cast<char>(sum >> 8 * i);
    }
    return file;
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

} // namespace qz::test
