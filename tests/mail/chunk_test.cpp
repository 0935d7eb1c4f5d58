#include "Mail/Chunk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

using ChunkPtr = Mem::Ptr<Mail::Chunk>;

// Lets the tests at the protected functions.
struct Parts : Mail::Chunk {
    using Part = ChunkPtr (Mail::Chunk::*)(std::uint64_t) const;
    static inline const Part kHead = &Parts::head;
    static inline const Part kTail = &Parts::tail;
    static inline const Part kBefore = &Parts::rbefore;
    static inline const Part kAfter = &Parts::rafter;
};

ChunkPtr part(Parts::Part which, const ChunkPtr& chunk, std::uint64_t n) {
    return ((*chunk).*which)(n);
}

std::string bytes(const ChunkPtr& chain) {
    std::string result;
    for (const Mail::Chunk* chunk = chain.get(); chunk != nullptr; chunk = chunk->next().get()) {
        result.append(chunk->begin(), chunk->end());
    }
    return result;
}

// A chain over at least three buffers, each byte telling where it stands.
ChunkPtr numbered(std::uint64_t size) {
    ChunkPtr chain = Mail::Chunk::alloc(size);
    std::uint64_t i = 0;
    for (const Mail::Chunk* chunk = chain.get(); chunk != nullptr; chunk = chunk->next().get()) {
        for (unsigned char* byte = chunk->begin(); byte != chunk->end(); ++byte) {
            *byte = static_cast<unsigned char>(i++ * 7 % 251);
        }
    }
    return chain;
}

TEST(Chunk, SmallRequestsShareABuffer) {
    Mail::Chunk::try_alloc(1024); // what is left of a buffer, or a whole one
    Mail::Chunk::try_alloc(1024);
    const ChunkPtr a = Mail::Chunk::try_alloc(100);
    const ChunkPtr b = Mail::Chunk::try_alloc(100);
    EXPECT_EQ(a->size(), 100U);
    EXPECT_EQ(b->begin(), a->end());
    const ChunkPtr rest = Mail::Chunk::try_alloc(2000);
    EXPECT_EQ(rest->begin(), b->end());
    EXPECT_EQ(rest->size(), 824U);
    EXPECT_EQ(Mail::Chunk::try_alloc(2000)->size(), 1024U);
    EXPECT_EQ(Mail::Chunk::try_alloc(0), nullptr);
}

TEST(Chunk, AllocSpansBuffers) {
    const ChunkPtr chain = Mail::Chunk::alloc(2000);
    EXPECT_NE(chain->next(), nullptr);
    EXPECT_EQ(chain->totalSize(), 2000U);
    EXPECT_EQ(Mail::Chunk::alloc(0), nullptr);
    EXPECT_EQ(Mail::Chunk::alloc(~std::uint64_t{0}), nullptr);
}

TEST(Chunk, PartsOfOneChunk) {
    const ChunkPtr chunk = Mail::Chunk::try_alloc(40);
    EXPECT_EQ(part(Parts::kHead, chunk, 0), nullptr);
    EXPECT_EQ(part(Parts::kHead, chunk, 1)->end(), chunk->begin() + 1);
    for (const std::uint64_t all : {chunk->size(), chunk->size() + 1, ~std::uint64_t{0}}) {
        EXPECT_EQ(part(Parts::kHead, chunk, all)->end(), chunk->end());
        EXPECT_EQ(part(Parts::kTail, chunk, all), nullptr);
    }
    EXPECT_EQ(part(Parts::kTail, chunk, 0)->begin(), chunk->begin());
    EXPECT_EQ(part(Parts::kTail, chunk, chunk->size() - 1)->size(), 1U);
}

TEST(Chunk, PartsOfAChainShareItsBytes) {
    constexpr std::uint64_t kSize = 2500;
    const ChunkPtr chain = numbered(kSize);
    const std::string all = bytes(chain);
    ASSERT_EQ(all.size(), kSize);
    std::mt19937 random(6);
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t n = random() % (kSize + 100);
        const ChunkPtr before = part(Parts::kBefore, chain, n);
        const ChunkPtr after = part(Parts::kAfter, chain, n);
        ASSERT_EQ(bytes(before), all.substr(0, n));
        ASSERT_EQ(bytes(after), n < kSize ? all.substr(n) : "");
        if (before) {
            ASSERT_EQ(before->begin(), chain->begin());
        }
    }
    EXPECT_EQ(part(Parts::kBefore, chain, 0), nullptr);
    EXPECT_EQ(part(Parts::kAfter, chain, kSize), nullptr);
    EXPECT_EQ(part(Parts::kAfter, chain, ~std::uint64_t{0}), nullptr);
}

TEST(Chunk, LongChainsAreReleasedWithoutRecursion) {
    Mail::Chain chain;
    for (int i = 0; i < 300000; ++i) {
        chain.append(Mail::Chunk::try_alloc(1));
    }
    EXPECT_EQ(chain.first()->totalSize(), 300000U);
}

} // namespace
