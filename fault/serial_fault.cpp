// Saving, loading and states: a file is the old one or the new one, failed reading leaves the
// objects as the headers say, and no object leaks.
#include "driver.h"

#include "IO/FileStream.h"
#include "IO/MemoryStream.h"
#include "Serial/CommonBufferizer.h"
#include "Serial/Containers.h"
#include "Serial/Record.h"

#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using Common::CommonBufferizer;
using Common::CommonSerializer;
using Common::Ref;
using Messages = std::vector<Mail::Message>;

constexpr char kPath[] = "world";
const std::string kOld(3000, 'o');
constexpr int kNumber = 1000;

class Node : public Common::SerializableObject {
public:
    Node() : SerializableObject("Node") { ++count; }
    ~Node() override { --count; }

    void serialize(CommonSerializer& serializer) override {
        serializer.transfer("number", number);
        serializer.transfer("name", name);
        serializer.transfer("items", items);
        serializer.transfer("next", next);
    }

    int number = 0;
    std::string name;
    std::map<int, std::string> items;
    Ref<Node> next;

    static int count;
};
int Node::count = 0;

class NodeFactory : public Common::Factory {
public:
    NodeFactory() { addIdentifier("Node"); }
    Common::Identifiable* create(const Common::Identifier& /*name*/) override { return new Node; }
};

using World = std::vector<Ref<Node>>;
World world;
std::string saved;
Common::FactoryManager* factories; // that make nodes
Common::FactoryManager* nobody;

void save() {
    {
        const Aside aside;
        writeFile(kPath, kOld);
        world[2]->number = kNumber;
    }
    bool isSaved = false;
    stepOrThrow<std::bad_alloc>("saving", [&] {
        io::FileStream file(kPath, io::FileStream::Mode::kReplace);
        CommonSerializer serializer(file);
        serializer.transfer(world);
        isSaved = step(serializer.finish(), "finish") && step(file.close(), "replacing");
    });
    const Aside aside;
    whole(readFile(kPath) == (isSaved ? saved : kOld), "neither the old nor the new world");
}

// With the classes of the objects, or as records.
template<class T>
void load(Common::FactoryManager& made, bool keepsUnknown) {
    const int before = Node::count;
    stepOrThrow<std::bad_alloc>("loading", [&] {
        std::vector<Ref<T>> loaded;
        io::FileStream file(kPath, io::FileStream::Mode::kRead);
        CommonSerializer::Limits limits;
        limits.keepsUnknown = keepsUnknown;
        CommonSerializer loading(file, made, limits);
        const bool isWhole = loading.isGood();
        loading.transfer(loaded);
        const bool isLoaded = step(loading.finish(), "loading");
        holds(isLoaded == loading.getError().empty(), "an error without a text");
        holds(isWhole || loaded.empty(), "values of a file that could not be read");
        if (isLoaded) {
            const Aside aside;
            io::MemoryStream again;
            CommonSerializer serializer(again);
            serializer.transfer(loaded);
            holds(serializer.finish() &&
                      std::string(again.bytes().begin(), again.bytes().end()) == saved,
                  "another world was loaded");
        }
    });
    holds(Node::count == before, "objects are left");
}

// With the names of the fields, of which the file tells when it is loaded.
void name() {
    stepOrThrow<std::bad_alloc>("naming", [] {
        io::MemoryStream stream;
        CommonSerializer::Options options;
        options.namesFields = true;
        CommonSerializer serializer(stream, 0, options);
        serializer.transfer("world", world);
        if (!step(serializer.finish(), "naming")) {
            return;
        }
        World loaded;
        stream.seek(0);
        CommonSerializer loading(stream, *factories);
        loading.transfer("world", loaded);
        if (step(loading.finish(), "loading")) {
            const auto classes = loading.getFields();
            holds(classes.size() == 2 && classes[1].values.fields.size() == 4, "other fields");
        }
    });
}

std::string look(const CommonBufferizer& states) {
    const Aside aside;
    std::string text;
    for (std::uint32_t number = 1; number <= 30; ++number) {
        if (const auto* const node = static_cast<Node*>(states.get(number))) {
            text += std::to_string(number) + node->name + std::to_string(node->number) +
                    (node->next ? node->next->name : "") + std::to_string(node->items.size());
        }
    }
    return text;
}

// Sends one state to the watcher; after any failure both are unchanged.
void tell(CommonBufferizer& source, CommonBufferizer& watcher) {
    const std::uint32_t last = source.getNumber();
    const std::uint32_t number = source.captureMarked();
    if (!step(number != 0, "captureMarked")) {
        holds(source.getNumber() == last, "a number of a state that there is not");
        return;
    }
    const Messages messages = source.write(watcher.getNumber(), 1);
    Common::StateParts parts;
    if (!step(!messages.empty(), "write") || !stepOrThrow<std::bad_alloc>("StateParts", [&] {
            for (const Mail::Message& message : messages) {
                parts.add(message);
            }
        })) {
        return;
    }
    const std::string before = look(watcher);
    if (step(watcher.read(parts), "read")) {
        holds(watcher.getNumber() == number && look(watcher) == look(source), "another state");
    } else if (watcher.getNumber() != 0) {
        holds(look(watcher) == before, "a state of which a part was read");
    }
}

// Objects are added, changed and removed, and a watcher starts anew.
void watch() {
    CommonBufferizer source, watcher(*factories);
    for (std::uint32_t number = 1; number <= world.size(); ++number) {
        const Ref<Common::SerializableObject> object(world[number - 1].get());
        if (!step(source.add(number, object), "add")) {
            holds(source.get(number) == nullptr, "an object that was not added");
            return;
        }
    }
    tell(source, watcher);
    world[2]->number = kNumber + 5;
    step(source.mark(3), "mark");
    step(source.remove(1), "remove"); // nothing refers to the first one
    tell(source, watcher);
    watcher.reset();
    source.reset();
    tell(source, watcher);
    if (!isDisturbed()) {
        holds(look(watcher) == look(source), "not what there is");
    }
}

void writeState() {
    stepOrThrow<std::bad_alloc>("Bufferizer", [] {
        std::map<int, std::string> items, read;
        {
            const Aside aside;
            items = {{1, std::string(100, 'a')}, {2, "b"}};
        }
        Common::Bufferizer writing(1);
        writing.transfer(items);
        if (!step(writing.finish(), "writing")) {
            return;
        }
        Common::StateParts parts;
        for (const Mail::Message& message : writing.getMessages(1)) {
            parts.add(message);
        }
        if (step(parts.isComplete(), "getMessages")) {
            Common::Bufferizer reading(parts, {});
            reading.transfer(read);
            holds(reading.finish() && read == items && reading.getBaseline().getNumber() == 1,
                  "another state");
        }
    });
}

} // namespace

void prepare() {
    factories = new Common::FactoryManager;
    factories->addFactory(new NodeFactory);
    nobody = new Common::FactoryManager;
    for (int i = 0; i < 12; ++i) {
        Ref<Node> node(new Node);
        node->number = kNumber;
        node->name = "a name that is no short one " + std::to_string(i);
        node->items = {{i, "first"}, {i + 1, "second"}};
        if (!world.empty()) {
            world.back()->next = node;
        }
        world.push_back(node);
    }
    io::MemoryStream stream;
    CommonSerializer serializer(stream);
    serializer.transfer(world);
    serializer.finish();
    saved.assign(stream.bytes().begin(), stream.bytes().end());
}

void work() {
    save();
    {
        const Aside aside;
        writeFile(kPath, saved);
    }
    load<Node>(*factories, false);
    name();
    load<Common::Record>(*nobody, true);
    stepOrThrow<std::bad_alloc>("CommonBufferizer", watch);
    writeState();
}

void finish() {
    world.clear();
    holds(Node::count == 0, "objects are left");
}
