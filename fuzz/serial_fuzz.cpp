// Any bytes as a file of saved objects: loading ends with an error, or with a graph that is the
// same after it is saved and loaded again, with names or without; the description of the fields can
// be followed; and every object that was made is destroyed.
#include "field_walk.h"
#include "require.h"

#include "Core/Hash.h"
#include "IO/MemoryStream.h"
#include "Serial/Containers.h"
#include "Serial/Record.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace {

using Common::CommonSerializer;
using Common::Identifiable;
using Common::Ref;

class Node : public Common::SerializableObject {
public:
    explicit Node(const Common::Identifier& name) : SerializableObject(name) { all.insert(this); }
    ~Node() override { all.erase(this); }

    std::uint32_t getVersion() const override { return 2; }
    void serialize(CommonSerializer& serializer) override {
        serializer.transfer("flag", flag_);
        serializer.transfer("next", next_);
        serializer.transfer("names", names_);
        serializer.transfer("maybe", maybe_);
        serializer.transfer("numbers", numbers_);
        serializer.transferSince(2, "others", others_);
    }

    // Clears the references, because objects in a cycle would keep each other alive.
    void letGo() {
        next_ = {};
        others_.clear();
    }

    static std::set<Node*> all;

    static std::vector<Ref<Node>> held() {
        std::vector<Ref<Node>> nodes;
        for (Node* const node : all) {
            nodes.emplace_back(node);
        }
        return nodes;
    }

private:
    bool flag_ = false;
    Ref<Node> next_;
    std::map<std::string, std::int16_t> names_;
    std::optional<float> maybe_;
    std::vector<std::uint64_t> numbers_;
    std::vector<Ref<Identifiable>> others_;
};
std::set<Node*> Node::all;

class NodeFactory : public Common::Factory {
public:
    NodeFactory() {
        addIdentifier("Node");
        addIdentifier("Leaf");
    }
    Identifiable* create(const Common::Identifier& name) override { return new Node(name); }
};

struct World {
    std::vector<Ref<Identifiable>> objects;
    std::vector<std::vector<int>> nested;

    void serialize(CommonSerializer& serializer) {
        serializer.transfer("objects", objects);
        serializer.transfer("nested", nested);
    }
};

template<class T>
void append(std::string& bytes, T value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes += static_cast<char>(value >> 8 * i);
    }
}

// Adds a valid header and sum.
std::string fileOf(const std::string& body, char version) {
    std::string file("\x89QZO\r\n\x1A");
    file += version;
    append(file, std::uint64_t{body.size()});
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(file.data(), file.size(), 0));
    const std::uint64_t sum = QZ_hash_data(body.data(), body.size(), seed);
    file += body;
    append(file, static_cast<std::uint32_t>(sum));
    return file;
}

// The bytes as a record of such a class: each step takes some, or is within another.
void follow(const Common::Field& fields, const std::string& bytes) {
    constexpr std::size_t kDeepest = 400; // both ends of each
    const std::size_t references = bytes.size() / 8;
    FieldWalk walk(fields,
                   Bytes(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()),
                   references);
    std::size_t steps = 0;
    while (walk.next() != FieldWalk::Step::kEnd) {
        require(++steps <= kDeepest * (bytes.size() + references + 1));
    }
}

bool load(const std::string& file, World& world) {
    static Common::FactoryManager* const factories = [] {
        auto* const manager = new Common::FactoryManager;
        manager->addFactory(new NodeFactory);
        return manager;
    }();
    io::BlockStream stream(static_cast<const void*>(file.data()), file.size());
    CommonSerializer::Limits limits;
    limits.objects = 1000;
    limits.keepsUnknown = true;
    CommonSerializer serializer(stream, *factories, limits);
    serializer.transfer("world", world);
    const bool isLoaded = serializer.finish();
    require(isLoaded == serializer.getError().empty());
    for (const Common::FieldsOfClass& one : serializer.getFields()) {
        follow(one.values, file);
    }
    return isLoaded;
}

std::string save(World& world, bool namesFields = false) {
    io::MemoryStream stream;
    CommonSerializer::Options options;
    options.namesFields = namesFields;
    CommonSerializer serializer(stream, 0, options);
    serializer.transfer("world", world);
    require(serializer.finish());
    return {stream.bytes().begin(), stream.bytes().end()};
}

} // namespace

// Objects of unknown classes that refer to each other in a cycle keep each other alive, and the
// target may have no reference with which to free them.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:makeObject";
}

// The input: a byte that chooses a whole file or only a file's body, with or without names, and
// then its bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    const std::string bytes(reinterpret_cast<const char*>(data + 1), length - 1);
    {
        World world, again, named;
        if (load(data[0] % 2 == 0 ? bytes : fileOf(bytes, data[0] % 4 == 3 ? '\2' : '\1'), world)) {
            const std::string saved = save(world);
            require(load(saved, again) && save(again) == saved);
            require(load(save(world, true), named) && save(named) == saved);
        }
        const std::vector<Ref<Node>> held = Node::held();
        for (const Ref<Node>& node : held) {
            node->letGo();
        }
    }
    require(Node::all.empty());
    return 0;
}
