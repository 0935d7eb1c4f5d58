// Private heaps that know how much memory they hold.
//
// The build chooses what is beneath: a scalable allocator, or, in instrumented builds, the C
// library's, whose blocks the sanitizers can watch. Blocks are aligned to 16 bytes, those of up to
// 8 bytes to 8.
//
// Callers remember the sizes of their blocks, as Lua and containers do anyway, and give them back
// with the block: that keeps the count of live bytes exact for the price of one addition.
//
// Any thread may use an open pool and free what another one allocated. A pool costs a thread-local
// key of the process, so there are a few of them, never one for each object.
#pragma once

#include <atomic>
#include <cstddef>

namespace core {

class MemoryPool {
public:
    // A closed pool: it has no memory to give. Pools are objects with static storage, ready before
    // any initialiser runs and never destroyed; opening and closing is up to the composition root.
    constexpr MemoryPool() = default;
    MemoryPool(const MemoryPool&) = delete;
    MemoryPool& operator=(const MemoryPool&) = delete;

    // False if there is no memory for it. Does nothing if the pool is open.
    bool open();

    // Gives everything back to the system; no other thread may be using the pool. A pool that has
    // live blocks stays open and the result is false: whoever owns them may still touch them.
    // Unloading the library with an open pool is a mistake, the allocator would call code that is
    // gone; at the end of the process it does no harm.
    bool close();

    // Null if memory runs out. A size of 0 gives a block, too.
    void* allocate(std::size_t size) { return reallocate(nullptr, 0, size); }

    // Resizes a block of `oldSize` bytes, moving it if need be; a null block (of 0 bytes) is
    // allocated. Null if memory runs out, and then the block stays as it was. Shrinking never
    // fails.
    void* reallocate(void* block, std::size_t oldSize, std::size_t size);

    // Frees a block of `size` bytes, which may be null (of 0 bytes).
    void release(void* block, std::size_t size);

    // Bytes taken from the system and not given back. Where the allocator keeps a stock of its own,
    // this moves in steps of a mebibyte or more and falls only partly when blocks are freed.
    std::size_t footprint() const;

    // Bytes that callers have allocated and not freed.
    std::size_t liveBytes() const { return liveBytes_.load(std::memory_order_relaxed); }

private:
    // The allocator beneath, for an open pool.
    bool openHeap();
    void closeHeap();
    void* resize(void* block, std::size_t size);
    void free(void* block);

    void* heap_ = nullptr; // null while the pool is closed
    std::atomic<std::size_t> footprint_{0};
    std::atomic<std::size_t> liveBytes_{0};
};

// The process's default pool.
MemoryPool& defaultPool();

} // namespace core
