#include "Common/Allocator.h"

#include "common/allocator_counters.h"
#include "core/memory_pool.h"

#include <atomic>
#include <new>
#include <stdexcept>

namespace {

constinit std::atomic<std::uint64_t> heldBytes{0};
constinit std::atomic<std::uint64_t> allocations{0};
constinit std::atomic<std::uint64_t> releases{0};

// Opens the pool if need be: static initialisers make containers before the library is attached and
// opens it. They run on one thread. Later calls only make a comparison.
core::MemoryPool& openPool() {
    core::MemoryPool& pool = core::defaultPool();
    pool.open();
    return pool;
}

} // namespace

void qz::incSTLAllocatorCounter(std::uint64_t bytes) {
    heldBytes.fetch_add(bytes, std::memory_order_relaxed);
    allocations.fetch_add(1, std::memory_order_relaxed);
}

void qz::decSTLAllocatorCounter(std::uint64_t bytes) {
    heldBytes.fetch_sub(bytes, std::memory_order_relaxed);
    releases.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t qz::getSTLAllocatorCounter() {
    return heldBytes.load(std::memory_order_relaxed);
}

void* qz::allocateCounted(std::size_t bytes) {
    incSTLAllocatorCounter(bytes);
    void* const block = openPool().allocate(bytes);
    if (block == nullptr) {
        decSTLAllocatorCounter(bytes);
        throw std::bad_alloc();
    }
    return block;
}

void qz::releaseCounted(void* block, std::size_t bytes) {
    if (block != nullptr) {
        core::defaultPool().release(block, bytes);
        decSTLAllocatorCounter(bytes);
    }
}

void qz::throwTooLong() {
    throw std::length_error("list<T> too long");
}

common::AllocatorActivity common::allocatorActivity() {
    return {allocations.load(std::memory_order_relaxed), releases.load(std::memory_order_relaxed)};
}

common::AllocatorActivity common::takeAllocatorActivity() {
    return {allocations.exchange(0, std::memory_order_relaxed),
            releases.exchange(0, std::memory_order_relaxed)};
}

void common::resetAllocatorCounters() {
    heldBytes.store(0, std::memory_order_relaxed);
    takeAllocatorActivity();
}
