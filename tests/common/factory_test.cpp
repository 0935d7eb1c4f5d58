#include "Common/Factory.h"

#include "Common/Allocator.h"
#include "support/test.h"

namespace {

using Common::Factory;
using Common::FactoryManager;
using Common::Identifiable;
using Common::Identifier;
using Common::Ref;

struct Counted {
    Counted() { ++alive; }
    Counted(const Counted&) { ++alive; }
    ~Counted() { --alive; }

    static inline int alive = 0;
};

struct Thing : Identifiable, Counted {
    using Identifiable::Identifiable;
};

struct SelfReferrer : Identifiable, Counted {
    ~SelfReferrer() override { const Ref<SelfReferrer> self(this); }
};

// Counts what it was told to destroy.
class ThingFactory : public Factory, public Counted {
public:
    ThingFactory(std::initializer_list<const char*> names) {
        for (const char* name : names) {
            addIdentifier(name);
        }
    }

    Identifiable* create(const Identifier& identifier) override { return new Thing(identifier); }

    void destroyInstance(Identifiable* object) override {
        ++destroyed;
        Factory::destroyInstance(object);
    }

    int destroyed = 0;
};

Lines names(const Factory& factory) {
    Lines result;
    for (const Identifier& identifier : factory.requestIdentifiers()) {
        result.push_back(identifier.getClassName());
    }
    return result;
}

TEST(Identifier, ComparesBytes) {
    EXPECT_NE(Identifier("Abc"), Identifier("abc"));
    EXPECT_LT(Identifier("Ab"), Identifier("Abc"));
    EXPECT_LT(Identifier("z"), Identifier("\xC3\xA4"));
    EXPECT_NE(Identifier(std::string("a\0b", 3)), Identifier("a"));
    EXPECT_EQ(Identifier(static_cast<const char*>(nullptr)), Identifier());
}

FactoryManager* theManager = nullptr;

// At its end nothing is left of the objects and factories.
struct Factories : testing::Test {
    Factories() { theManager = manager.get(); }
    ~Factories() override {
        manager = {};
        EXPECT_EQ(Counted::alive, 0);
    }

    Ref<FactoryManager> manager{new FactoryManager};
};

TEST_F(Factories, ObjectsEndWithTheirLastReference) {
    Ref<Thing> first(new Thing("Thing")), second = first;
    EXPECT_EQ(first->getRefCount(), 2);
    first = Ref<Thing>();
    EXPECT_EQ(Counted::alive, 1);
    const Ref<Thing> copy(new Thing(*second));
    EXPECT_EQ(copy->getRefCount(), 1) << "references are the object's own";
    Ref<Identifiable> base = second;
    EXPECT_TRUE(base == second && second == base && base != nullptr);
    EXPECT_FALSE(Ref<Thing>() == second || Ref<Identifiable>() != Ref<Thing>());
    EXPECT_EQ(base->getRefCount(), 2);
    base = std::move(second);
    EXPECT_EQ(base->getRefCount(), 1);
    EXPECT_FALSE((std::convertible_to<Ref<Identifiable>, Ref<Thing>>));

    Common::FakeUnknown<Identifiable> onTheStack;
    { const Ref<Identifiable> reference(&onTheStack); }
    EXPECT_EQ(onTheStack.getRefCount(), 0);
    const Ref<Serializable> onTheHeap(new Common::Unknown<Serializable>);
    { const Ref<SelfReferrer> reference(new SelfReferrer); }
    EXPECT_EQ(Counted::alive, 2);
}

TEST_F(Factories, AddedFirstWin) {
    const Ref<ThingFactory> first(new ThingFactory({"Unit", "Tank", "Unit"}));
    auto* const second = new ThingFactory({"Ship", "Unit"});
    manager->addFactory(first.get());
    manager->addFactory(second);
    manager->addFactory(first.get());
    manager->addFactory(nullptr);
    manager->addFactory(manager.get());
    EXPECT_EQ(names(*manager), (Lines{"Unit", "Tank", "Ship"}));
    EXPECT_EQ(first->getRefCount(), 4) << "one of the test's, the factory's, two identifiers'";

    Identifiable* unit = manager->createInstance("Unit");
    EXPECT_EQ(unit->getRefCount(), 0);
    manager->destroyInstance(unit);
    first->destroyInstance(new SelfReferrer);
    EXPECT_EQ(first->destroyed, 2);

    manager->removeFactory(first.get());
    EXPECT_EQ(names(*manager), (Lines{"Unit", "Ship"}));
    EXPECT_EQ(first->getRefCount(), 1);
    manager->createInstance("Unit", &unit);
    EXPECT_EQ(unit->getRefCount(), 1);
    manager->destroyInstance(unit);
    EXPECT_EQ(second->destroyed, 1);

    manager->removeFactory(second);
    EXPECT_EQ(names(*manager), Lines());
    EXPECT_EQ(Counted::alive, 1) << "nobody else held the second factory";
    EXPECT_EQ(manager->createInstance("Unit"), nullptr);
    manager->createInstance("Unit", &unit);
    EXPECT_EQ(unit, nullptr);
}

TEST_F(Factories, LeaveAloneWhatTheManagerDoesNotKnow) {
    manager->addIdentifier("Mine");
    ThingFactory never({});
    manager->removeFactory(&never);
    manager->removeFactory(nullptr);
    EXPECT_EQ(names(*manager), Lines{"Mine"});

    Thing stranger("Stranger");
    manager->destroyInstance(&stranger);
    manager->destroyInstance(nullptr);
    EXPECT_EQ(Counted::alive, 2);

    const Ref<ThingFactory> kept(new ThingFactory({"Unit"})), removed(new ThingFactory({"Ship"}));
    manager->addFactory(kept.get());
    manager->addFactory(removed.get());
    manager->removeIdentifier("Unit");
    manager->removeFactory(removed.get());
    EXPECT_EQ(names(*manager), Lines()) << "nobody makes Mine";
}

// Destroys what it made in its destructor, through the manager.
struct Owner : ThingFactory {
    Owner() : ThingFactory({"Owned"}) {}
    ~Owner() override {
        Thing left("Owned");
        theManager->destroyInstance(&left);
    }
};

TEST_F(Factories, SeeTheManagerEmptyWhenTheyGo) {
    manager->addFactory(new Owner);
    manager->addFactory(new ThingFactory({"Owned"}));
}

void getTheManager(FactoryManager** out) {
    *out = theManager;
    (*out)->addRef();
}

TEST_F(Factories, AreRegisteredForALifeTime) {
    {
        const Common::Registrator registrator(getTheManager, new ThingFactory({"Unit"}));
        EXPECT_EQ(names(*manager), Lines{"Unit"});
        EXPECT_EQ(manager->getRefCount(), 1);
    }
    EXPECT_EQ(names(*manager), Lines());
    EXPECT_EQ(manager->getRefCount(), 1);
}

TEST_F(Factories, ReturnTheMemoryOfTheirNames) {
    const std::uint64_t before = qz::getSTLAllocatorCounter();
    for (int i = 0; i < 100; ++i) {
        manager->addFactory(new ThingFactory({"Unit", std::to_string(i).c_str()}));
    }
    EXPECT_GE(qz::getSTLAllocatorCounter() - before, 500 * sizeof(Identifier));
    manager = {};
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);

    qz::allocator<Identifier> allocator;
    EXPECT_THROW(static_cast<void>(allocator.allocate(PTRDIFF_MAX)), std::length_error);
    qz::releaseCounted(nullptr, 8);
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);
}

} // namespace
