// Objects that refer to each other.
#include "Serial/Containers.h"
#include "Serial/Record.h"
#include "serial/saved.h"

namespace {

using Common::CommonSerializer;
using Common::Identifiable;
using Common::Record;
using Common::Ref;
using Common::SerializableObject;

class Node : public SerializableObject {
public:
    explicit Node(const char* className = "Node") : SerializableObject(className) { ++count; }
    ~Node() override { --count; }

    void serialize(CommonSerializer& serializer) override {
        serializer.transfer("number", number);
        serializer.transfer("next", next);
        serializer.transfer("others", others);
    }

    int number = 0;
    Ref<Node> next;
    std::vector<Ref<Node>> others;

    static inline int count = 0;
};

// Has one more member since version 2, in the middle of the others.
class Ship : public Node {
public:
    Ship() : Node("Ship") {}

    std::uint32_t getVersion() const override { return version; }
    void serialize(CommonSerializer& serializer) override {
        if (version >= 2) {
            serializer.transferSince(2, "fuel", fuel, 100);
        }
        Node::serialize(serializer);
        if (version >= 3) { // at the end
            serializer.transferSince(3, "name", name, "none");
            serializer.transferSince(3, "escort", escort);
        }
    }

    int fuel = 0;
    std::string name;
    Ref<Node> escort;

    static inline std::uint32_t version = 1;
};

// Takes references apart: counting alone would not free objects in a cycle.
void takeApart(const std::vector<Ref<Node>>& nodes) {
    for (const Ref<Node>& node : nodes) {
        node->next = {};
        node->others.clear();
    }
}

class SerializerGraph : public ::testing::Test {
protected:
    SerializerGraph() {
        factories.addFactory(new TestFactory({
            {"Node", [] { return new Node; }},
            {"Ship", [] { return new Ship; }},
            {"Thing", [] { return new Identifiable("Thing"); }},
        }));
    }
    ~SerializerGraph() override { EXPECT_EQ(Node::count, 0) << "objects are left"; }

    Common::FactoryManager factories, nobody;
    CommonSerializer::Limits keeping{.keepsUnknown = true};
};

// Compares all nodes in the order of their numbers, with their references.
TEST_F(SerializerGraph, IsTheSameGraph) {
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::mt19937 random(seed);
        std::vector<Ref<Node>> nodes;
        for (int i = 0; i < 200; ++i) {
            nodes.emplace_back(random() % 2 == 0 ? new Node : new Ship);
            nodes.back()->number = i;
        }
        const auto any = [&] { return random() % 5 == 0 ? Ref<Node>() : nodes[random() % 200]; };
        for (const Ref<Node>& node : nodes) {
            node->next = any();
            node->others = {any(), any()};
        }
        std::vector<Ref<Node>> read;
        const std::string bytes = save(nodes);
        ASSERT_EQ(load(bytes, read, factories), "");
        ASSERT_EQ(read.size(), nodes.size());
        const auto same = [&](const Ref<Node>& a, const Ref<Node>& b) {
            return a ? b.get() == read[static_cast<std::size_t>(a->number)].get() : !b;
        };
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            ASSERT_EQ(read[i]->number, static_cast<int>(i));
            ASSERT_EQ(read[i]->getClassIdentifier(), nodes[i]->getClassIdentifier());
            ASSERT_TRUE(same(nodes[i]->next, read[i]->next));
            ASSERT_TRUE(same(nodes[i]->others[1], read[i]->others[1]));
        }
        EXPECT_EQ(save(read), bytes);
        takeApart(nodes);
        takeApart(read);
    }
}

TEST_F(SerializerGraph, ChainsMayBeLong) {
    constexpr int kLength = 1'000'000;
    const auto makeChain = [](int length, Ref<Node> last) {
        for (int i = length; i > 0; --i) {
            Ref<Node> node(new Node);
            node->number = i;
            node->next = std::move(last);
            last = std::move(node);
        }
        return last;
    };
    const auto countAndFree = [](Ref<Node> first) {
        int count = 0;
        while (first && first->number == count + 1) {
            ++count;
            first = Ref<Node>(std::exchange(first->next, {}));
        }
        return count;
    };
    Ref<Node> chain = makeChain(kLength, {});
    const std::string bytes = save(chain);
    EXPECT_EQ(countAndFree(std::exchange(chain, {})), kLength);
    EXPECT_EQ(load(bytes, chain, factories), "");
    EXPECT_EQ(countAndFree(std::exchange(chain, {})), kLength);

    // A chain whose end cannot be read is released without recursion, too.
    chain = makeChain(kLength / 10, Ref<Node>(new Node("Ghost")));
    const std::string cut = save(chain);
    countAndFree(std::exchange(chain, {}));
    EXPECT_TRUE(load(cut, chain, factories)
                    .ends_with(".next.next: an object of class \"Ghost\", which no factory makes"));
    EXPECT_EQ(countAndFree(std::exchange(chain, {})), kLength / 10);
}

// Values and references are kept apart while a record is written, and the memory for them grows.
TEST_F(SerializerGraph, ValuesBehindReferencesAreWhatTheyWere) {
    using Row = std::pair<Ref<Node>, std::pair<int, std::string>>;
    std::vector<Row> rows, read;
    for (int i = 0; i < 6000; ++i) {
        const std::string text(i % 1000 == 0 ? 5000 : 3, 'x');
        rows.emplace_back(new Node, std::pair(i, text));
    }
    EXPECT_EQ(load(save(rows), read, factories), "");
    EXPECT_TRUE(std::ranges::equal(rows, read, {}, &Row::second, &Row::second));
}

// No loaded value keeps the objects; each refers to the one before.
TEST_F(SerializerGraph, ChainsThatNobodyKeepsFallWithoutDepth) {
    std::vector<Ref<Node>> nodes;
    for (int i = 0; i < 300'000; ++i) {
        nodes.emplace_back(new Node);
        nodes.back()->next = i == 0 ? Ref<Node>() : nodes[nodes.size() - 2];
    }
    const std::string bytes = save(nodes);
    takeApart(nodes);
    for (Common::FactoryManager* const known : {&factories, &nobody}) {
        io::BlockStream stream(bytes.data(), bytes.size());
        CommonSerializer serializer(stream, *known, keeping);
        std::vector<Ref<Identifiable>> dropped;
        serializer.transfer("world", dropped);
        EXPECT_TRUE(serializer.finish()) << serializer.getError();
    }
    std::vector<Ref<Identifiable>> kept;
    EXPECT_EQ(load(bytes, kept, nobody, keeping), "");
    kept.erase(kept.begin(), kept.end() - 1); // the last one holds all
    EXPECT_EQ(kept[0]->getRefCount(), 1);
}

TEST_F(SerializerGraph, VersionsUnderstandEachOther) {
    std::string saved[4];
    for (Ship::version = 1; Ship::version <= 3; ++Ship::version) {
        Ref<Ship> ship(new Ship);
        ship->number = 7;
        ship->fuel = 50;
        ship->name = "Ada";
        ship->escort = Ref<Node>(new Ship);
        ship->next = ship->escort;
        saved[Ship::version] = save(ship);
    }
    for (const std::uint32_t reader : {2U, 3U}) {
        for (const std::uint32_t writer : {1U, 2U, 3U}) {
            Ship::version = reader;
            Ref<Ship> ship;
            ASSERT_EQ(load(saved[writer], ship, factories), "") << reader << ' ' << writer;
            EXPECT_EQ(ship->number, 7);
            EXPECT_TRUE(ship->next);
            EXPECT_EQ(ship->fuel, writer >= 2 ? 50 : 100);
            EXPECT_EQ(ship->name, reader < 3 ? "" : writer < 3 ? "none" : "Ada");
            EXPECT_EQ(static_cast<bool>(ship->escort), reader == 3 && writer == 3);
        }
    }
    Ship::version = 1;
}

// An older program does not read the ship's escort, which is in a cycle.
TEST_F(SerializerGraph, ObjectsThatNobodyReadsLeaveAndOthersAreReadLate) {
    Ship::version = 3;
    const Ref<Ship> ship(new Ship);
    std::vector<Ref<Node>> nodes; // each refers to the next one, the last one to that before
    for (int i = 4; i >= 0; --i) {
        nodes.emplace(nodes.begin(), new Node);
        nodes[0]->number = i;
        nodes[0]->next = i == 4 ? Ref<Node>() : nodes[1];
    }
    nodes[4]->next = nodes[3];
    ship->escort = nodes[4];
    std::vector<Ref<Node>> world{ship}, read;
    const std::string alone = save(world);
    world.push_back(nodes[0]);
    const std::string both = save(world);
    const int saved = Node::count;
    Ship::version = 2;
    EXPECT_EQ(load(alone, read, factories), "");
    read.clear();
    EXPECT_EQ(Node::count, saved);
    EXPECT_EQ(load(both, read, factories), ""); // the escort is passed before a node leads to it
    const Ref<Node> escort = read.at(1)->next->next->next->next;
    EXPECT_EQ(escort->number, 4);
    EXPECT_EQ(escort->next->number, 3);
    takeApart({escort, nodes[4]});
    Ship::version = 1;
}

TEST_F(SerializerGraph, UnknownClassesAreKept) {
    Ship::version = 3;
    std::vector<Ref<Identifiable>> world, kept, read;
    Ref<Ship> ship(new Ship);
    ship->name = "Ada";
    ship->escort = Ref<Node>(new Node);
    ship->escort->next = Ref<Node>(ship.get());
    world = {Ref<Identifiable>(ship.get()), Ref<Identifiable>(ship->escort.get())};
    const std::string bytes = save(world);

    EXPECT_EQ(load(bytes, kept, nobody, keeping), "");
    auto* const record = dynamic_cast<Record*>(kept.at(0).get());
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->getClassIdentifier(), Common::Identifier("Ship"));
    EXPECT_EQ(record->getVersion(), 3U);
    EXPECT_EQ(record->getNumber(), 1U);
    EXPECT_EQ(save(kept), bytes);
    EXPECT_EQ(load(save(kept), read, factories), "");
    record->letGo(); // two records refer to each other
    auto& again = dynamic_cast<Ship&>(*read.at(0));
    EXPECT_EQ(again.name, "Ada");
    EXPECT_EQ(again.escort->next.get(), &again);
    ship->escort->next = {};
    again.escort->next = {};
    Ship::version = 1;
}

TEST_F(SerializerGraph, ErrorsTellWhere) {
    std::vector<Ref<Identifiable>> world{Ref<Identifiable>(new Node), Ref<Identifiable>(new Node)};
    auto& second = dynamic_cast<Node&>(*world[1]);
    second.others.emplace_back(new Ship);
    const std::string bytes = save(world);
    std::vector<Ref<Identifiable>> read;
    std::vector<Ref<Ship>> ships;
    EXPECT_EQ(load(bytes, read, nobody),
              "world[0]: an object of class \"Node\", which no factory makes");
    nobody.addFactory(new TestFactory({{"Node", [&] { return world[1].get(); }}}));
    EXPECT_EQ(load(bytes, read, nobody),
              "world[1]: an object of class \"Node\", which its factory has given out before");
    EXPECT_EQ(load(bytes, ships, factories),
              "world[0]: an object of class \"Node\", which does not fit");
    EXPECT_EQ(load(bytes, read, factories, {.objects = 2}), "world[1]: more objects than allowed");
    second.others[0] = Ref<Node>(new Node("Ghost"));
    EXPECT_EQ(load(save(world), read, factories),
              "world[1].others[0]: an object of class \"Ghost\", which no factory makes");
    world.emplace_back(new Identifiable("Thing"));
    EXPECT_EQ(save(world), "error: world[2]: an object of class \"Thing\", which cannot be saved");
    world[2] = Ref<Identifiable>(new Node(std::string(256, 'n').c_str()));
    EXPECT_EQ(save(world), "error: world[2]: a class whose name is too long");
}

} // namespace
