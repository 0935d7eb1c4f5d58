// Where fresh bytes for messages come from. Both kinds of space hand out buffers piece by piece, so
// that many small messages share a buffer. Any thread may call them.
#pragma once

#include "Mail/Chunk.h"
#include "Tasks/Sync.h"

#include <cstdint>

namespace Mail {

// Space for callers who know how many bytes they need.
class FreshSpace {
public:
    // 1 to `n` bytes; null if n is 0 or there is no memory.
    Mem::Ptr<Chunk> carve(std::uint64_t n);

private:
    // A chunk over all of a new buffer; null if there is no memory.
    static Mem::Ptr<Chunk> makeBuffer();

    // Cuts the first n bytes off a chunk, which must have more. Null if there is no memory.
    static Mem::Ptr<Chunk> cut(Chunk& chunk, std::uint64_t n);

    Sync::Futex lock_;
    Mem::Ptr<Chunk> current_;
};

// Bytes of a buffer that one writer fills.
struct Region {
    Mem::Ptr<Buffer> buffer; // null: none
    unsigned char* begin = nullptr;
    unsigned char* end = nullptr;
};

// Space for callers who do not know how many bytes they need: they take a region and give back what
// they have not filled.
class SpareSpace {
public:
    // The region that was given back first, or else a new buffer's: at least one byte. Has no
    // buffer if there is no memory.
    Region take();

    void giveBack(Region region);

private:
    Region takeGivenBack();
    Mem::Ptr<Chunk> chunkFor(Region region);

    Sync::Futex lock_;
    Chain givenBack_;
    Mem::Ptr<Chunk> unused_; // a list of chunks to reuse without taking the pool's lock
};

} // namespace Mail
