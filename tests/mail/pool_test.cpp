#include "Mail/Pool.h"
#include "support/test.h"

#include <stdexcept>

namespace {

constexpr std::size_t kBlock = 128 * 1024;

TEST(Pool, CarvesItemsWithoutGapsAndWholeOnes) {
    for (const std::size_t size : {1U, 8U, 13U, 32U, 1024U}) {
        Mem::Pool pool(size, 1);
        const std::size_t step = std::max<std::size_t>(size, 8);
        auto* const first = static_cast<char*>(pool.alloc());
        char* last = first;
        for (std::size_t i = 1; i < kBlock / step; ++i) {
            last = static_cast<char*>(pool.alloc());
            ASSERT_EQ(last, first + i * step);
        }
        std::memset(last, 1, step);
        auto* const other = static_cast<char*>(pool.alloc());
        EXPECT_GE(std::abs(other - first), static_cast<std::ptrdiff_t>(kBlock + 64 * 1024));
    }
}

TEST(Pool, HandsOutTheItemFreedLast) {
    Mem::Pool pool(13, 100);
    pool.free(nullptr);
    std::vector<void*> items(300);
    for (void*& item : items) {
        item = pool.alloc();
        std::memset(item, 0xFF, 13);
    }
    for (void* item : items) {
        pool.free(item);
    }
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
        ASSERT_EQ(pool.alloc(), *item);
    }
}

TEST(Pool, EndsAfter8192BlocksOrIfNoneHoldsAnItem) {
    Mem::Pool pool(kBlock, 1);
    void* item = nullptr;
    for (int i = 0; i < 8192; ++i) {
        item = pool.alloc();
        ASSERT_NE(item, nullptr);
    }
    EXPECT_EQ(pool.alloc(), nullptr);
    pool.free(item);
    EXPECT_EQ(pool.alloc(), item);

    constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(Mem::Pool(kHuge / 4, 8).alloc(), nullptr);
    EXPECT_EQ(Mem::Pool(kHuge, 1).alloc(), nullptr);
    EXPECT_EQ(Mem::Pool(kHuge / 2, 1).alloc(), nullptr);
    EXPECT_EQ(Mem::Pool(8, 0).alloc(), nullptr);
}

TEST(PoolDeathTest, FaultsOnEitherSideOfABlock) {
    Mem::Pool pool(kBlock, 1);
    auto* const block = static_cast<volatile char*>(pool.alloc());
    block[0] = 1;
    block[kBlock - 1] = 1;
    EXPECT_DEATH(block[kBlock] = 1, "");
    EXPECT_DEATH(block[kBlock + 64 * 1024 - 1] = 1, "");
    EXPECT_DEATH(block[-1] = 1, "");
    EXPECT_DEATH(block[-64 * 1024] = 1, "");
}

class Thing : public Mem::Shared {
public:
    explicit Thing(int& living) : living_(living) { ++living_; }
    explicit Thing(const char* error) : living_(none_) { throw std::runtime_error(error); }
    ~Thing() override { --living_; }

    static void operator delete(void* item) { pool().free(item); }
    static Mem::PoolOf<Thing>& pool() {
        static Mem::PoolOf<Thing> instance(16);
        return instance;
    }

private:
    int none_ = 0;
    int& living_;
};

TEST(Ptr, DeletesWithTheLastReferenceIntoThePool) {
    int living = 0;
    auto a = Thing::pool().make(living);
    const void* const place = a.get();
    Mem::Ptr<Thing> b = a;
    const Mem::Ptr<Mem::Shared> base = b;
    EXPECT_EQ(base, a);
    a = *&a;
    a = nullptr;
    Mem::Ptr<Thing> c = std::move(b);
    EXPECT_EQ(b, nullptr); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(living, 1);
    EXPECT_EQ(c.detachIfLast(), nullptr) << "base still refers to it";
    EXPECT_EQ(living, 1);
    Mem::Ptr<Mem::Shared>().swap(const_cast<Mem::Ptr<Mem::Shared>&>(base));
    EXPECT_EQ(living, 0);
    c = Thing::pool().make(living);
    EXPECT_EQ(c.get(), place);
    c = Mem::Ptr<Thing>(c.detachIfLast());
    EXPECT_EQ(living, 1);
    c = nullptr;
    EXPECT_EQ(living, 0) << "what was detached had no references";
    EXPECT_THROW(Thing::pool().make("no"), std::runtime_error);
    EXPECT_EQ(Thing::pool().make(living).get(), place) << "after a constructor has thrown";
}

} // namespace
