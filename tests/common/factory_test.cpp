#include "Common/Factory.h"

#include "Common/Allocator.h"
#include "support/test.h"

namespace {

using Common::Factory;
using Common::FactoryManager;
using Common::Identifiable;
using Common::Identifier;
using Common::Ref;

class Thing : public Identifiable {
public:
    Thing(const Identifier& identifier, int* alive) : Identifiable(identifier), alive_(alive) {
        ++*alive_;
    }
    ~Thing() override { --*alive_; }

private:
    int* alive_;
};

// Counts itself, what it made, and what it was told to destroy.
class ThingFactory : public Factory {
public:
    ThingFactory(int* alive, std::initializer_list<const char*> names) : alive_(alive) {
        ++*alive_;
        for (const char* name : names) {
            addIdentifier(name);
        }
    }
    ~ThingFactory() override { --*alive_; }

    Identifiable* create(const Identifier& identifier) override {
        return new Thing(identifier, alive_);
    }

    void destroyInstance(Identifiable* object) override {
        ++destroyed;
        Factory::destroyInstance(object);
    }

    int destroyed = 0;

private:
    int* alive_;
};

std::vector<std::string> names(const Factory& factory) {
    std::vector<std::string> result;
    for (const Identifier& identifier : factory.requestIdentifiers()) {
        result.push_back(identifier.getClassName());
    }
    return result;
}

using Names = std::vector<std::string>;

TEST(Identifier, ComparesBytes) {
    EXPECT_NE(Identifier("Abc"), Identifier("abc"));
    EXPECT_LT(Identifier("Ab"), Identifier("Abc"));
    EXPECT_LT(Identifier("z"), Identifier("\xC3\xA4"));
    EXPECT_NE(Identifier(std::string("a\0b", 3)), Identifier("a"));
    EXPECT_EQ(Identifier(static_cast<const char*>(nullptr)), Identifier());
}

TEST(SharedObject, EndsWithItsLastReference) {
    int alive = 0;
    {
        Ref<Thing> first(new Thing("Thing", &alive));
        Ref<Thing> second = first;
        EXPECT_EQ(first->getRefCount(), 2);
        first = Ref<Thing>();
        EXPECT_EQ(alive, 1);
        Ref<Thing> copy(new Thing(*second));
        EXPECT_EQ(copy->getRefCount(), 1) << "references are the object's own";
        ++alive; // the copy's constructor does not count
    }
    EXPECT_EQ(alive, 0);
    alive = 1;
    {
        Ref<Thing> thing(new Thing("Thing", &alive));
        Ref<Identifiable> base = thing;
        EXPECT_TRUE(base == thing && thing == base && base != nullptr);
        EXPECT_FALSE(Ref<Thing>() == thing || Ref<Identifiable>() != Ref<Thing>());
        EXPECT_EQ(base->getRefCount(), 2);
        base = std::move(thing);
        EXPECT_EQ(base->getRefCount(), 1);
        EXPECT_FALSE((std::convertible_to<Ref<Identifiable>, Ref<Thing>>));
    }

    Common::FakeUnknown<Identifiable> onTheStack;
    { const Ref<Identifiable> reference(&onTheStack); }
    EXPECT_EQ(onTheStack.getRefCount(), 0);
    const Ref<Serializable> onTheHeap(new Common::Unknown<Serializable>);
}

TEST(FactoryManager, TheFactoryAddedFirstWins) {
    int alive = 0;
    {
        const Ref<FactoryManager> manager(new FactoryManager);
        const Ref<ThingFactory> first(new ThingFactory(&alive, {"Unit", "Tank", "Unit"}));
        auto* const second = new ThingFactory(&alive, {"Ship", "Unit"});
        manager->addFactory(first.get());
        manager->addFactory(second);
        manager->addFactory(first.get());
        manager->addFactory(nullptr);
        manager->addFactory(manager.get());
        EXPECT_EQ(names(*manager), (Names{"Unit", "Tank", "Ship"}));
        EXPECT_EQ(first->getRefCount(), 4) << "one of the test's, the factory's, two identifiers'";

        Identifiable* unit = manager->createInstance("Unit");
        EXPECT_EQ(unit->getRefCount(), 0);
        manager->destroyInstance(unit);
        EXPECT_EQ(first->destroyed, 1);

        manager->removeFactory(first.get());
        EXPECT_EQ(names(*manager), (Names{"Unit", "Ship"}));
        EXPECT_EQ(first->getRefCount(), 1);
        manager->createInstance("Unit", &unit);
        EXPECT_EQ(unit->getRefCount(), 1);
        manager->destroyInstance(unit);
        EXPECT_EQ(second->destroyed, 1);

        manager->removeFactory(second);
        EXPECT_EQ(names(*manager), Names());
        EXPECT_EQ(alive, 1) << "nobody else held the second factory";
        EXPECT_EQ(manager->createInstance("Unit"), nullptr);
        manager->createInstance("Unit", &unit);
        EXPECT_EQ(unit, nullptr);
    }
    EXPECT_EQ(alive, 0);
}

TEST(FactoryManager, LeavesAloneWhatItDoesNotKnow) {
    int alive = 0;
    const Ref<FactoryManager> manager(new FactoryManager);
    manager->addIdentifier("Mine");
    const auto never = std::make_unique<ThingFactory>(&alive, std::initializer_list<const char*>{});
    manager->removeFactory(never.get());
    manager->removeFactory(nullptr);
    EXPECT_EQ(names(*manager), Names{"Mine"});

    Thing stranger("Stranger", &alive);
    manager->destroyInstance(&stranger);
    manager->destroyInstance(nullptr);
    EXPECT_EQ(alive, 2);
}

// Destroys what it made in its destructor, through the manager.
class Owner : public ThingFactory {
public:
    Owner(FactoryManager* manager, int* alive)
        : ThingFactory(alive, {"Owned"}), manager_(manager), alive_(alive) {}
    ~Owner() override {
        Thing left("Owned", alive_);
        manager_->destroyInstance(&left);
    }

private:
    FactoryManager* manager_;
    int* alive_;
};

TEST(FactoryManager, IsEmptyWhenItsFactoriesGo) {
    int alive = 0;
    {
        const Ref<FactoryManager> manager(new FactoryManager);
        manager->addFactory(new Owner(manager.get(), &alive));
        manager->addFactory(new ThingFactory(&alive, {"Owned"}));
    }
    EXPECT_EQ(alive, 0);
}

Ref<FactoryManager>& theManager() {
    static Ref<FactoryManager> manager(new FactoryManager);
    return manager;
}

void getTheManager(FactoryManager** out) {
    *out = theManager().get();
    (*out)->addRef();
}

TEST(Registrator, RegistersForItsLifeTime) {
    int alive = 0;
    {
        const Common::Registrator registrator(getTheManager, new ThingFactory(&alive, {"Unit"}));
        EXPECT_EQ(names(*theManager()), Names{"Unit"});
        EXPECT_EQ(theManager()->getRefCount(), 1);
    }
    EXPECT_EQ(names(*theManager()), Names());
    EXPECT_EQ(theManager()->getRefCount(), 1);
    EXPECT_EQ(alive, 0);
}

TEST(CountingAllocator, ReturnsToWhereItWas) {
    const std::uint64_t before = qz::getSTLAllocatorCounter();
    int alive = 0;
    {
        const Ref<FactoryManager> manager(new FactoryManager);
        for (int i = 0; i < 100; ++i) {
            manager->addFactory(new ThingFactory(&alive, {"Unit", std::to_string(i).c_str()}));
        }
        // Two hundred entries and a hundred factories in vectors, three hundred and one in lists.
        const std::size_t least = 200 * sizeof(std::pair<Identifier, Ref<Factory>>) +
                                  100 * sizeof(Ref<Factory>) +
                                  301 * (sizeof(Identifier) + 2 * sizeof(void*));
        EXPECT_GE(qz::getSTLAllocatorCounter() - before, least);
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);

    qz::allocator<Identifier> allocator;
    EXPECT_THROW(static_cast<void>(allocator.allocate(PTRDIFF_MAX)), std::length_error);
    qz::releaseCounted(nullptr, 8);
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);
}

} // namespace
