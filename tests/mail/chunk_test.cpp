#include "Mail/Chunk.h"

#include "mail/chains.h"
#include "support/test.h"

namespace {

using namespace qz::test;

// Makes the protected functions accessible.
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

TEST(Chunk, SmallRequestsShareABuffer) {
    Mail::Chunk::try_alloc(1024); // the rest of a buffer, or a whole one
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
    const std::string all = bytesOf(chunk);
    for (const std::uint64_t n : {std::uint64_t{0}, std::uint64_t{1}, chunk->size() - 1,
                                  chunk->size(), chunk->size() + 1, ~std::uint64_t{0}}) {
        const std::size_t cut = static_cast<std::size_t>(std::min<std::uint64_t>(n, all.size()));
        EXPECT_EQ(bytesOf(part(Parts::kHead, chunk, n)), all.substr(0, cut));
        EXPECT_EQ(bytesOf(part(Parts::kTail, chunk, n)), all.substr(cut));
    }
    EXPECT_EQ(part(Parts::kHead, chunk, 1)->begin(), chunk->begin());
}

TEST(Chunk, PartsOfAChainShareItsBytes) {
    constexpr int kSize = 2500; // three buffers at least
    const std::string all = numberedBytes(kSize);
    const ChunkPtr chain = chainOf(all);
    std::mt19937 random(6);
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t n = random() % (kSize + 100);
        const ChunkPtr before = part(Parts::kBefore, chain, n);
        const ChunkPtr after = part(Parts::kAfter, chain, n);
        ASSERT_EQ(bytesOf(before), all.substr(0, n));
        ASSERT_EQ(bytesOf(after), n < kSize ? all.substr(n) : "");
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
