// The implementation of Common::CommonSerializer.
#pragma once

#include "Common/Allocator.h"
#include "Serial/CommonSerializer.h"
#include "serial/form.h"
#include "serial/naming.h"
#include "serial/pointer_table.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace serial {

// Each file begins with it. The line end shows whether a transfer has changed line ends. The next
// byte is the version of the format, which says whether the fields have names.
inline constexpr unsigned char kMark[7] = {0x89, 'Q', 'Z', 'O', '\r', '\n', 0x1A};
inline constexpr unsigned char kPlainFormat = 1;
inline constexpr unsigned char kNamedFormat = 2;
inline constexpr std::size_t kSizeAt = sizeof kMark + 1;
inline constexpr std::size_t kHeaderSize = kSizeAt + sizeof(std::uint64_t);
inline constexpr std::size_t kSumSize = sizeof(std::uint32_t);

// Each object of an unknown class has a copy of its class's name: without a limit, a short file
// with one long name could take much memory.
inline constexpr std::size_t kMostNameBytes = 255;

template<class T>
void putFixed(unsigned char* out, T value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        out[i] = static_cast<unsigned char>(value >> 8 * i);
    }
}

template<class T>
T getFixed(const unsigned char* in) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value |= static_cast<T>(T{in[i]} << 8 * i);
    }
    return value;
}

// The sum of a header and the body behind it.
std::uint32_t sumOf(const unsigned char* header, const unsigned char* body, std::size_t size);

} // namespace serial

namespace Common {

struct CommonSerializer::State {
    struct Class {
        Identifier name;
        std::uint32_t version;
    };

    struct Object {
        Ref<SerializableObject> object; // null for one that no factory made
        std::uint32_t classIndex;
        std::uint32_t node; // the path of the first reference to it; 0: none was transferred
    };

    // A record of an object to which nobody has taken a reference.
    struct Waiting {
        std::uint32_t index;
        unsigned char* begin;
        unsigned char* end;
        qz::vector<std::uint32_t> mentioned;
    };

    // A step of a path: a name, or the number of an item, or both.
    struct Node {
        std::uint32_t parent;
        std::uint32_t index;
        const char* name;
    };

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State();

    QZ_LOCAL void expect(std::size_t references);

    std::unique_ptr<detail::Form> form; // null for files
    Limits limits;
    std::string error;
    qz::vector<Object> objects; // object number n is at n - 1
    qz::vector<Class> classes;
    qz::vector<Node> nodes;       // node number n is at n - 1
    serial::PointerTable numbers; // when loading, has at least the first `known` objects
    std::uint32_t objectNode = 0;
    std::uint32_t version = 0; // the version of the file's own record
    serial::Bytes body;        // when saving, with the header in front
    std::vector<Field> fields; // the field of the whole, then one for each class
    bool namesFields = false;
    bool isInObjects = false; // the classes of the objects are being called
    std::size_t next = 0; // saving: the next object to be written; loading: where its record begins

    // Saving.
    io::Stream* out = nullptr;
    serial::Bytes payload;
    serial::Bytes mentions;
    std::size_t mentionCount = 0;
    std::unique_ptr<serial::Naming> naming; // of fields that have names
    std::map<std::pair<std::string, std::uint32_t>, std::uint32_t> classNumbers;

    // Loading.
    FactoryManager* factories = nullptr;
    qz::vector<std::uint32_t> mentioned; // the record's references, as numbers
    std::size_t nextMention = 0;
    std::size_t known = 0;
    std::size_t passed = 0;         // of the objects, those whose records were opened
    qz::vector<Waiting> waiting;    // in the order of the objects
    qz::vector<std::uint32_t> late; // those among them that were referred to later
    std::uint32_t givenTwice = 0;   // the first object that a factory gave out twice; 0: none
};

} // namespace Common
