// Any bits as a state of objects, whole or against a base line. With a wrong sum it is refused, and
// the objects do not change. With its right sum it is read, another watcher can read the result
// from this one, and the next state can be read too.
#include "require.h"
#include "state_message.h"

#include "Serial/CommonBufferizer.h"
#include "Serial/Containers.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Common::CommonBufferizer;
using Common::CommonSerializer;
using Common::Ref;
using Common::StateParts;

class Node : public Common::SerializableObject {
public:
    explicit Node(const Common::Identifier& name) : SerializableObject(name) { all.insert(this); }
    ~Node() override { all.erase(this); }

    void serialize(CommonSerializer& serializer) override {
        serializer.transferBits("kind", kind_, 5);
        serializer.transfer("names", names_);
        serializer.transfer("next", next_);
        serializer.transfer("others", others_);
    }

    void letGo() {
        next_ = {};
        others_.clear();
    }

    int kind_ = 0;
    std::map<std::string, std::int16_t> names_;
    Ref<Node> next_;
    std::vector<Ref<Node>> others_;

    static std::set<Node*> all;
};
std::set<Node*> Node::all;

class NodeFactory : public Common::Factory {
public:
    NodeFactory() {
        addIdentifier("Node");
        addIdentifier("Leaf");
    }
    Common::Identifiable* create(const Common::Identifier& name) override { return new Node(name); }
};

bool read(CommonBufferizer& states, const std::vector<Mail::Message>& messages) {
    StateParts parts;
    for (const Mail::Message& message : messages) {
        parts.add(message);
    }
    return parts.isComplete() && states.read(parts);
}

// The values of all objects, as the bytes of a whole state.
std::string look(CommonBufferizer& states) {
    std::string text;
    for (std::uint32_t number = 1; number <= 40; ++number) {
        if (auto* const node = static_cast<Node*>(states.get(number))) {
            text += std::to_string(number) + ' ' + std::to_string(node->kind_) + ' ';
            for (const auto& [name, value] : node->names_) {
                text += name + std::to_string(value);
            }
            text += node->next_ ? std::to_string(node->next_->kind_) : "-";
            for (const Ref<Node>& other : node->others_) {
                text += other ? std::to_string(other->kind_) : "-";
            }
        }
    }
    return text;
}

void fill(CommonBufferizer& source) {
    std::vector<Ref<Node>> nodes;
    for (std::uint32_t number = 1; number <= 20; ++number) {
        nodes.emplace_back(new Node(number % 3 == 0 ? "Leaf" : "Node"));
        nodes.back()->kind_ = static_cast<int>(number % 16);
        nodes.back()->names_ = {{"name", std::int16_t{7}}};
        nodes.back()->next_ = nodes[(number * 7) % nodes.size()];
        nodes.back()->others_ = {nodes[0], {}};
        require(source.add(2 * number, Ref<Common::SerializableObject>(nodes.back().get())));
    }
}

Common::FactoryManager* theFactories() {
    static Common::FactoryManager* const factories = [] {
        auto* const manager = new Common::FactoryManager;
        manager->addFactory(new NodeFactory);
        return manager;
    }();
    return factories;
}

// The right sum of a refused state, from the error; 0 if the state was refused for another reason.
std::uint32_t sumOf(const std::string& error) {
    constexpr std::string_view kBefore = "a state that is not what was sent: its sum is ";
    return error.starts_with(kBefore)
               ? static_cast<std::uint32_t>(std::stoul(error.substr(kBefore.size())))
               : 0;
}

// Reads the state with its right sum, and then passes it on to another watcher.
void readRepaired(CommonBufferizer& watcher, const Mail::Message& message) {
    require(read(watcher, {message}) && watcher.getNumber() == 2);
    CommonBufferizer other(*theFactories(), {.objects = 1000});
    require(read(other, watcher.write(0, 1)));
    require(look(other) == look(watcher) && other.getCount() == watcher.getCount());
}

} // namespace

// The input: whether the state is whole, and then its bits.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    const std::string bits(reinterpret_cast<const char*>(data + 1), length - 1);
    {
        CommonBufferizer source, watcher(*theFactories(), {.objects = 1000});
        fill(source);
        require(source.capture() == 1);
        const std::vector<Mail::Message> whole = source.write(0, 1);
        require(read(watcher, whole) && look(watcher) == look(source));
        const std::size_t count = Node::all.size();
        const Mail::Message any = stateMessage(2, bytesOf(whole[0]), data[0] % 2 == 0, bits);
        require(!read(watcher, {any}));
        require(look(watcher) == look(source) && watcher.getNumber() == 1);
        require(Node::all.size() == count);
        if (const std::uint32_t sum = sumOf(watcher.getError())) {
            readRepaired(watcher, stateMessage(2, bytesOf(whole[0]), data[0] % 2 == 0, bits, sum));
            watcher.reset();
            require(read(watcher, whole));
        }
        static_cast<Node*>(source.get(8))->kind_ = 15;
        require(source.capture() == 2 && read(watcher, source.write(1, 1)));
        require(look(watcher) == look(source));

        std::vector<Ref<Node>> held;
        for (Node* const node : Node::all) {
            held.emplace_back(node);
        }
        for (const Ref<Node>& node : held) {
            node->letGo();
        }
    }
    require(Node::all.empty());
    return 0;
}
