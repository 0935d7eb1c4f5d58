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

    // Cuts the chunk's first n bytes off, of which it has more. Null if there is no memory.
    static Mem::Ptr<Chunk> cut(Chunk& chunk, std::uint64_t n);

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

// Bytes of a buffer that one writer fills.
struct Region {
    Mem::Ptr<Buffer> buffer; // null: none
    unsigned char* begin = nullptr;
    unsigned char* end = nullptr;
};

// Space for those who do not: they take a region, and give back what they have not filled.
class SpareSpace : private Space {
public:
    // At least one byte, of the region first given back if there is one; none if there is no
    // memory.
    Region take();

    void giveBack(Region region);

private:
    Region takeGivenBack();
    Mem::Ptr<Chunk> chunkFor(Region region);

    Mem::Ptr<Chunk> first_;  // of those given back
    Chunk* last_ = nullptr;  // where there is a first; a Chain would count references to it
    Mem::Ptr<Chunk> unused_; // a list: chunks for regions to come, which spare the pool's lock
};

} // namespace Mail
