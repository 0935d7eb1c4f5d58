#include "core/memory_pool.h"
#include "support/null_from_malloc.h"
#include "support/test.h"

namespace {

using core::MemoryPool;

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
    const auto bytesOf = [](size_t t) { return std::string(40 * t + 1, static_cast<char>(t)); };
    std::vector<std::vector<char*>> blocks(kThreads, std::vector<char*>(5000));
    inThreads(kThreads, [&](size_t t) {
        for (char*& block : blocks[t]) {
            block = static_cast<char*>(pool_.allocate(bytesOf(t).size()));
            std::memcpy(block, bytesOf(t).data(), bytesOf(t).size());
        }
    });
    inThreads(kThreads, [&](size_t t) {
        const std::string expected = bytesOf((t + 1) % kThreads);
        for (char* const block : blocks[(t + 1) % kThreads]) {
            EXPECT_EQ(std::string(block, expected.size()), expected);
            pool_.release(block, expected.size());
        }
    });
    EXPECT_EQ(pool_.liveBytes(), 0u);
}

} // namespace
