// Where fresh bytes for messages come from. Both kinds of space hand out buffers piece by piece, so
// that many small messages share one; any thread may ask them.
#pragma once

#include "Mail/Chunk.h"
#include "Tasks/Sync.h"

#include <cstdint>

namespace Mail {

// What both have in common, and what chunks let them do.
class Space {
protected:
    // A chunk over all of a new buffer; null if there is no memory.
    static Mem::Ptr<Chunk> makeBuffer();

    static Mem::Ptr<Chunk> head(const Chunk& chunk, std::uint64_t n) { return chunk.head(n); }
    static Mem::Ptr<Chunk> tail(const Chunk& chunk, std::uint64_t n) { return chunk.tail(n); }

    Sync::Futex lock_;
};

// Space for those who know how many bytes they need.
class FreshSpace : private Space {
public:
    // 1 to `n` bytes; null if n is 0 or there is no memory.
    Mem::Ptr<Chunk> carve(std::uint64_t n);

private:
    Mem::Ptr<Chunk> current_;
};

// Space for those who do not: they take a region, and give back what they have not filled.
class SpareSpace : private Space {
public:
    // A region of at least one byte, the one first given back if there is one; null if there is no
    // memory.
    Mem::Ptr<Chunk> take();

    void giveBack(Mem::Ptr<Chunk> region);

private:
    Chain regions_;
};

} // namespace Mail
