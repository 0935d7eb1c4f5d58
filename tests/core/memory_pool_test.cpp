#include "core/memory_pool.h"
#include "support/null_from_malloc.h"
#include "support/test.h"

namespace core {

namespace {

using namespace qz::test;

struct MemoryPoolTest : ::testing::Test {
    MemoryPoolTest() { EXPECT_TRUE(pool_.open()); }
    ~MemoryPoolTest() override { EXPECT_TRUE(pool_.close()); }

    MemoryPool pool_;
};

TEST_F(MemoryPoolTest, CountsLiveBytesAndKeepsContents) {
    EXPECT_EQ(pool_.liveBytes(), 0u);
    auto* block = static_cast<char*>(pool_.allocate(100));
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 100);
    block = static_cast<char*>(pool_.reallocate(block, 100, 3000000));
    EXPECT_EQ(pool_.liveBytes(), 3000000u);
    EXPECT_GE(pool_.footprint(), 3000000u);
    block = static_cast<char*>(pool_.reallocate(block, 3000000, 50));
    EXPECT_EQ(pool_.liveBytes(), 50u);
    EXPECT_EQ(std::string(block, 50), std::string(50, 'x'));
    pool_.release(block, 50);
    pool_.release(nullptr, 0);
    EXPECT_EQ(pool_.liveBytes(), 0u);
}

TEST_F(MemoryPoolTest, AlignsAndAcceptsZero) {
    for (size_t size : {0u, 1u, 8u, 9u, 24u, 1000u, 100000u}) {
        void* const block = pool_.allocate(size);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % (size <= 8 ? 8 : 16), 0u) << size;
        void* const same = pool_.reallocate(block, size, 0);
        ASSERT_NE(same, nullptr) << size;
        pool_.release(same, 0);
    }
    EXPECT_EQ(pool_.liveBytes(), 0u);
}

TEST_F(MemoryPoolTest, RunsOutOfMemoryWithoutHarm) {
    // volatile, because the compiler must not see that these sizes cannot work.
    const volatile size_t huge = std::numeric_limits<size_t>::max() / 4;
    EXPECT_EQ(pool_.allocate(huge), nullptr);
    void* const block = pool_.allocate(10);
    EXPECT_EQ(pool_.reallocate(block, 10, huge), nullptr);
    EXPECT_EQ(pool_.liveBytes(), 10u);
    pool_.release(block, 10);
}

TEST(MemoryPool, GivesNothingWhileClosedAndStaysWhileInUse) {
    MemoryPool pool;
    EXPECT_EQ(pool.allocate(1), nullptr);
    EXPECT_TRUE(pool.close());
    ASSERT_TRUE(pool.open());
    void* const block = pool.allocate(1);
    EXPECT_FALSE(pool.close());
    pool.release(block, 1);
    EXPECT_TRUE(pool.close());
    EXPECT_EQ(pool.allocate(1), nullptr);
    EXPECT_EQ(pool.footprint(), 0u);
    ASSERT_TRUE(pool.open());
    EXPECT_TRUE(pool.close());
}

// Blocks are passed on to the next thread, which finds them as they were and frees them.
TEST_F(MemoryPoolTest, ThreadsFreeEachOthersBlocks) {
    constexpr size_t kThreads = 6;
    constexpr size_t kBlocks = 5000;
    const auto sizeOf = [](size_t i) { return i % 300 + 1; };
    std::vector<std::vector<char*>> blocks(kThreads, std::vector<char*>(kBlocks));
    inThreads(kThreads, [&](size_t t) {
        for (size_t i = 0; i < kBlocks; ++i) {
            blocks[t][i] = static_cast<char*>(pool_.allocate(sizeOf(i)));
            std::memset(blocks[t][i], static_cast<int>('a' + t), sizeOf(i));
        }
    });
    inThreads(kThreads, [&](size_t t) {
        const size_t other = (t + 1) % kThreads;
        for (size_t i = 0; i < kBlocks; ++i) {
            char* const block = blocks[other][i];
            EXPECT_EQ(std::string(block, sizeOf(i)),
                      std::string(sizeOf(i), static_cast<char>('a' + other)));
            pool_.release(block, sizeOf(i));
        }
    });
    EXPECT_EQ(pool_.liveBytes(), 0u);
}

} // namespace

} // namespace core
