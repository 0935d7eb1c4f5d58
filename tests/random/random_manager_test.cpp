#include "Random/RandomManager.h"

#include "Globals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <set>
#include <thread>

namespace {

// FNV-1a over the bits.
std::uint32_t checksum(const RandomTable& table) {
    std::uint32_t hash = 2166136261;
    for (const float value : table) {
        const auto bits = std::bit_cast<std::uint32_t>(value);
        for (const unsigned shift : {0U, 8U, 16U, 24U}) {
            hash = (hash ^ (bits >> shift & 0xFF)) * 16777619;
        }
    }
    return hash;
}

double momentOf(const RandomTable& table, int power) {
    double sum = 0;
    for (const float value : table) {
        sum += std::pow(static_cast<double>(value), power);
    }
    return sum / static_cast<double>(table.size());
}

// The checksums were computed by another program from the tables' definition.
TEST(RandomTables, AreTheSameOnEverySystem) {
    const RandomManager manager;
    ASSERT_EQ(manager.getUniform().size(), 2000U);
    ASSERT_EQ(manager.getNormal().size(), 2000U);
    EXPECT_EQ(checksum(manager.getUniform()), 0xC2391DB7);
    EXPECT_EQ(checksum(manager.getNormal()), 0x36FB5645);
    EXPECT_EQ(globalRandomManager()->getUniform(), manager.getUniform());
    EXPECT_EQ(globalRandomManager()->getNormal(), manager.getNormal());
}

TEST(RandomTables, HaveTheirDistributions) {
    const RandomTable& uniform = globalRandomManager()->getUniform();
    const auto [least, most] = std::ranges::minmax(uniform);
    EXPECT_GE(least, 0.0F);
    EXPECT_LE(most, 1.0F);
    EXPECT_NEAR(momentOf(uniform, 1), 0.5, 0.01);
    EXPECT_NEAR(momentOf(uniform, 2), 1.0 / 3, 0.01);
    int bins[20] = {};
    for (const float value : uniform) {
        ++bins[std::min(19, static_cast<int>(20 * value))];
    }
    double statistic = 0;
    for (const int count : bins) {
        statistic += (count - 100) * (count - 100) / 100.0;
    }
    EXPECT_LE(statistic, 6.0);

    const RandomTable& normal = globalRandomManager()->getNormal();
    EXPECT_NEAR(momentOf(normal, 1), 0, 0.05);
    EXPECT_NEAR(momentOf(normal, 2), 1, 0.05);
    EXPECT_NEAR(momentOf(normal, 4), 2.9, 0.3); // of twelve uniforms; 3 for the real one
}

TEST(RandomTables, ComeFromTheirArgumentsAlone) {
    const RandomTable first = RandomManager::createUniform(1, 300, 10, 9);
    EXPECT_EQ(RandomManager::createUniform(1, 300, 10, 9), first);
    EXPECT_NE(RandomManager::createUniform(2, 300, 10, 9), first);
    EXPECT_EQ(RandomManager::createNormal(first).size(), 300U);
    EXPECT_TRUE(RandomManager::createUniform(1, 10, 10, -1).empty()); // no table is that even
    EXPECT_TRUE(RandomManager::createUniform(1, 0, 10, 6).empty());
    EXPECT_TRUE(RandomManager::createUniform(1, 10, 0, 6).empty());
    EXPECT_TRUE(RandomManager::createNormal({}).empty());
    const RandomTable other = RandomManager::createNormal({std::nanf(""), 0});
    EXPECT_EQ(other, RandomManager::createNormal({1e30F, 0}));
}

TEST(RandomObject, ReadsItsTableRoundAndRound) {
    const RandomTable& uniform = globalRandomManager()->getUniform();
    RandomObject object(RandomObject::kUniform, 1998);
    EXPECT_EQ(object.get(), uniform[1998]);
    EXPECT_EQ(object.get(), uniform[1999]);
    EXPECT_EQ(object.getOffset(), 2000U);
    EXPECT_EQ(object.get(), uniform[0]);
    EXPECT_EQ(object.get(4007), uniform[7]);
    EXPECT_EQ(object.getOffset(), 1U);
    object.setOffset(2005);
    EXPECT_EQ(object.getOffset(), 5U);
    object.setType(RandomObject::kNormal);
    EXPECT_EQ(object.getType(), 1);
    EXPECT_EQ(object.get(), globalRandomManager()->getNormal()[5]);
    object.init(2, 3);
    EXPECT_EQ(object.getType(), 0);
    EXPECT_EQ(object.get(), uniform[3]);
    EXPECT_EQ(RandomObject(-1).getType(), 0);
}

TEST(RandomObject, ReadsACallersTable) {
    const auto twice = [](float value) { return 2 * value; };
    const RandomTable& uniform = globalRandomManager()->getUniform();
    RandomTable table = RandomManager::createCustom(uniform, twice);
    ASSERT_EQ(table.size(), uniform.size());
    table.insert(table.end(), 500, 7.0F);
    RandomObject object(table, 9, 2400);
    EXPECT_EQ(object.getType(), RandomObject::kCustom);
    EXPECT_EQ(object.get(), 7.0F);
    EXPECT_EQ(object.get(12), 2 * uniform[12]);
    object.setType(RandomObject::kUniform); // the cursor is behind the end of this one
    EXPECT_EQ(object.get(), uniform[0]);
}

class Values : public RandomSerializer {
public:
    explicit Values(std::vector<std::int32_t> values) : values_(std::move(values)), loads_(true) {}
    Values() = default;

    bool isLoading() const override { return loads_; }

    void transfer(std::int32_t& value) override {
        if (loads_) {
            value = values_.at(next_++);
        } else {
            values_.push_back(value);
        }
    }

    const std::vector<std::int32_t>& all() const { return values_; }

private:
    std::vector<std::int32_t> values_;
    std::size_t next_ = 0;
    bool loads_ = false;
};

TEST(RandomObject, IsSavedAndRestored) {
    RandomObject object(RandomObject::kNormal, 41);
    object.get();
    Values saved;
    object.serialize(saved);
    EXPECT_EQ(saved.all(), (std::vector<std::int32_t>{1, 42}));

    RandomObject copy;
    Values loaded(saved.all());
    copy.serialize(loaded);
    EXPECT_EQ(copy.getType(), 1);
    EXPECT_EQ(copy.get(), object.get());

    for (const std::int32_t unknown : {7, 2, -1}) {
        Values damaged({unknown, -1});
        copy.serialize(damaged);
        EXPECT_EQ(copy.getType(), 0);
        EXPECT_EQ(copy.getOffset(), 4294967295U % 2000);
        EXPECT_EQ(copy.get(), globalRandomManager()->getUniform()[4294967295U % 2000]);
    }
}

class Counted : public RandomObject {
public:
    explicit Counted(int& alive) : alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

private:
    int& alive_;
};

TEST(RandomManager, OwnsItsObjects) {
    int alive = 0;
    {
        RandomManager manager;
        auto* const first = new Counted(alive);
        manager.add(first);
        manager.add(first);
        manager.add(new Counted(alive));
        manager.add(nullptr);
        manager.remove(nullptr);
        EXPECT_EQ(alive, 2);
        manager.remove(first);
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(RandomManager, IsMadeOnceByManyThreads) {
    std::atomic<RandomManager*> seen[4] = {};
    std::vector<std::jthread> threads;
    for (auto& manager : seen) {
        threads.emplace_back([&manager] { manager = globalRandomManager(); });
    }
    threads.clear();
    EXPECT_NE(seen[0], nullptr);
    for (const auto& manager : seen) {
        EXPECT_EQ(manager, seen[0]);
    }
}

} // namespace
