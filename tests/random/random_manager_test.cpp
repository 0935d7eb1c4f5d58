#include "Random/RandomManager.h"

#include "Core/Hash.h"
#include "Globals.h"
#include "support/test.h"

namespace {

using Numbers = std::vector<std::int32_t>;

std::uint64_t checksum(const RandomTable& table) {
    return QZ_hash_data(table.data(), table.size() * sizeof(float), 0);
}

// The checksums are of tables that another program made from the definition.
TEST(RandomTables, AreTheSameOnEverySystem) {
    const RandomManager manager;
    const RandomTable &uniform = manager.getUniform(), &normal = manager.getNormal();
    ASSERT_EQ(uniform.size(), 2000U);
    ASSERT_EQ(normal.size(), 2000U);
    EXPECT_EQ(checksum(uniform), 316615782U);
    EXPECT_EQ(checksum(normal), 3603098682U);
    EXPECT_EQ(globalRandomManager()->getUniform(), uniform);
    EXPECT_EQ(globalRandomManager()->getNormal(), normal);
}

TEST(RandomTables, ComeFromTheirArgumentsAlone) {
    const RandomTable first = RandomManager::createUniform(1, 300, 10, 9);
    EXPECT_EQ(RandomManager::createUniform(1, 300, 10, 9), first);
    EXPECT_NE(RandomManager::createUniform(2, 300, 10, 9), first);
    EXPECT_TRUE(RandomManager::createUniform(1, 10, 10, -1).empty()); // no table is that even
    EXPECT_TRUE(RandomManager::createUniform(1, 0, 10, 6).empty());
    EXPECT_TRUE(RandomManager::createUniform(1, 10, 0, 6).empty());
    EXPECT_TRUE(RandomManager::createNormal({}).empty());
    EXPECT_EQ(RandomManager::createNormal({std::nanf(""), 0}),
              RandomManager::createNormal({1e30F, 0}));
}

TEST(RandomObject, ReadsItsTableRoundAndRound) {
    const RandomTable& uniform = globalRandomManager()->getUniform();
    RandomObject object(RandomObject::kUniform, 1999);
    EXPECT_EQ(object.get(), uniform[1999]);
    EXPECT_EQ(object.getOffset(), 2000U);
    EXPECT_EQ(object.get(), uniform[0]);
    EXPECT_EQ(object.get(4007), uniform[7]);
    object.setOffset(2005);
    object.setType(RandomObject::kNormal);
    EXPECT_EQ(object.getType(), 1);
    EXPECT_EQ(object.get(), globalRandomManager()->getNormal()[5]);
    object.init(2, 3);
    EXPECT_EQ(object.getType(), 0);
    EXPECT_EQ(object.get(), uniform[3]);
}

TEST(RandomObject, ReadsACallersTable) {
    const RandomTable& uniform = globalRandomManager()->getUniform();
    RandomTable table = RandomManager::createCustom(uniform, [](float value) { return 2 * value; });
    table.insert(table.end(), 500, 7.0F);
    RandomObject object(table, 9, 2400);
    EXPECT_EQ(object.getType(), RandomObject::kCustom);
    EXPECT_EQ(object.get(), 7.0F);
    EXPECT_EQ(object.get(1999), 2 * uniform[1999]);
    object.setType(RandomObject::kUniform); // the cursor is past the end of this table
    EXPECT_EQ(object.get(), uniform[0]);
    RandomObject empty(RandomTable(), RandomObject::kCustom, 7);
    EXPECT_EQ(empty.get() + empty.get() + empty.get(3), 0.0F);
}

// The serializer's tests save and restore one.
TEST(RandomObject, IsRestoredFromAnyNumbers) {
    struct Damaged : RandomSerializer {
        explicit Damaged(std::int32_t type) : all{type, -1} {}
        bool isLoading() const override { return true; }
        void transfer(std::int32_t& value) override { value = all.at(next++); }

        const Numbers all;
        std::size_t next = 0;
    };
    RandomObject object(RandomObject::kNormal, 41);
    for (const std::int32_t unknown : {7, 2, -1}) {
        Damaged damaged(unknown);
        object.serialize(damaged);
        EXPECT_EQ(object.getType(), 0);
        EXPECT_EQ(object.getOffset(), std::numeric_limits<std::uint32_t>::max() % 2000);
    }
}

int alive = 0;

struct Counted : RandomObject {
    explicit Counted(std::function<void()> atItsEnd = [] {}) : atItsEnd_(std::move(atItsEnd)) {
        ++alive;
    }
    ~Counted() override {
        --alive;
        atItsEnd_();
    }

    std::function<void()> atItsEnd_;
};

TEST(RandomManager, OwnsItsObjectsWhichMayChangeTheListWhenTheyGo) {
    {
        RandomManager manager;
        auto* const first = new Counted;
        auto* const other = new Counted;
        manager.add(first);
        manager.add(first);
        manager.add(nullptr);
        manager.remove(nullptr);
        manager.add(new Counted([&] {
            manager.remove(other);
            manager.add(new Counted);
            manager.add(new Counted);
        }));
        manager.add(other);
        EXPECT_EQ(alive, 3);
        manager.remove(first);
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
