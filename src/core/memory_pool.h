// Private heaps that know how much memory they hold.
//
// The build chooses the allocator beneath: a scalable one or, in instrumented builds, the C
// library's, whose blocks the sanitizers can watch. Blocks are aligned to 16 bytes, those of up to
// 8 bytes to 8.
//
// Callers pass a block's size when they give it back, which Lua and containers know anyway: that
// keeps the count of live bytes exact for the price of one addition.
//
// Any thread may use an open pool and free what another one allocated. A pool takes a thread-local
// key of the process, so a program has a few of them, never one for each object.
#pragma once

#include <atomic>
#include <cstddef>

namespace core {

class MemoryPool {
public:
    // A closed pool has no memory to give. Pools are objects with static storage, ready before any
    // initialiser runs and never destroyed.
    constexpr MemoryPool() = default;
    MemoryPool(const MemoryPool&) = delete;
    MemoryPool& operator=(const MemoryPool&) = delete;

    // False if there is no memory for it. Does nothing if the pool is open.
    bool open();

    // Gives everything back to the system; no other thread may be using the pool. False for a pool
    // with live blocks, which stays open: their owners may still touch them. The library must not
    // be unloaded with an open pool, because the allocator would call code that is gone. At the end
    // of the process an open pool does no harm.
    bool close();

    // Null if memory runs out. A size of 0 gives a block, too.
    void* allocate(std::size_t size) { return reallocate(nullptr, 0, size); }

    // Resizes a block of `oldSize` bytes, and moves it if need be. For a null block, of 0 bytes, it
    // allocates one. Null if memory runs out; then the block stays as it was. Shrinking never
    // fails.
    void* reallocate(void* block, std::size_t oldSize, std::size_t size);

    // Frees a block of `size` bytes, which may be null (of 0 bytes).
    void release(void* block, std::size_t size);

    // Bytes taken from the system and not given back. An allocator with a stock of its own moves
    // this in steps of a mebibyte or more, and lowers it only partly when blocks are freed.
    std::size_t footprint() const;

    // Bytes that callers have allocated and not freed.
    std::size_t liveBytes() const { return liveBytes_.load(std::memory_order_relaxed); }

private:
    // The allocator beneath. All but openHeap need an open pool.
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
