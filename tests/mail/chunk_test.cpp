#include "Mail/Chunk.h"

#include "mail/chains.h"

namespace {

TEST(Chunk, SmallRequestsShareABufferAndLargeOnesSpanSeveral) {
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

    const ChunkPtr chain = Mail::Chunk::alloc(2000);
    EXPECT_NE(chain->next(), nullptr);
    EXPECT_EQ(chain->totalSize(), 2000U);
    EXPECT_EQ(Mail::Chunk::alloc(0), nullptr);
    EXPECT_EQ(Mail::Chunk::alloc(~std::uint64_t{0}), nullptr);
}

// Of the first chunk alone, and of the whole chain.
TEST(Chunk, PartsShareTheBytes) {
    constexpr int kSize = 2500; // three buffers at least
    const std::string all = someBytes(kSize);
    const ChunkPtr chain = chainOf(all);
    const std::string first(chain->begin(), chain->end());
    std::vector<std::uint64_t> cuts(300);
    std::ranges::generate(cuts, [random = std::mt19937(6)]() mutable { return random() % 2600; });
    cuts.insert(cuts.end(), {0, first.size() - 1, first.size(), first.size() + 1, kSize, ~0ULL});
    for (const std::uint64_t n : cuts) {
        for (const auto& [front, back, whole] : {std::tuple(Parts::kHead, Parts::kTail, first),
                                                 std::tuple(Parts::kBefore, Parts::kAfter, all)}) {
            const auto at = static_cast<std::size_t>(std::min<std::uint64_t>(n, whole.size()));
            const ChunkPtr before = part(front, chain, n), after = part(back, chain, n);
            ASSERT_EQ(bytesOf(before), whole.substr(0, at));
            ASSERT_EQ(bytesOf(after), whole.substr(at));
            ASSERT_EQ(before ? before->begin() : nullptr, at != 0 ? chain->begin() : nullptr);
            ASSERT_EQ(after == nullptr, at == whole.size());
        }
    }
}

TEST(Chunk, LongChainsAreReleasedWithoutRecursion) {
    Mail::Chain chain;
    for (int i = 0; i < 300000; ++i) {
        chain.append(Mail::Chunk::try_alloc(1));
    }
    EXPECT_EQ(chain.first()->totalSize(), 300000U);
}

} // namespace
