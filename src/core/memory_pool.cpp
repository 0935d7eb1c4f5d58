#include "core/memory_pool.h"

#include "core/invariant.h"

#include <algorithm>

namespace core {

namespace {

constinit MemoryPool theDefaultPool;

[[maybe_unused]] constexpr auto kTooFew =
    "MemoryPool: a block is larger than all live ones together";

} // namespace

bool MemoryPool::open() {
    core::invariant(heap_ != nullptr || liveBytes() == 0, "MemoryPool: closed, with live blocks");
    return heap_ != nullptr || openHeap();
}

bool MemoryPool::close() {
    if (liveBytes() != 0) {
        return false;
    }
    if (heap_ != nullptr) {
        closeHeap();
        heap_ = nullptr;
    }
    return true;
}

void* MemoryPool::reallocate(void* block, std::size_t oldSize, std::size_t size) {
    if (heap_ == nullptr) {
        return nullptr;
    }
    // Allocators differ in what a size of 0 means.
    void* resized = resize(block, std::max<std::size_t>(size, 1));
    if (resized == nullptr && block != nullptr && size <= oldSize) {
        resized = block;
    }
    if (resized != nullptr) {
        // The difference may be negative: unsigned arithmetic wraps back.
        const std::size_t before = liveBytes_.fetch_add(size - oldSize, std::memory_order_relaxed);
        core::invariant(before >= oldSize, kTooFew);
    }
    return resized;
}

void MemoryPool::release(void* block, std::size_t size) {
    if (block != nullptr) {
        free(block);
        const std::size_t before = liveBytes_.fetch_sub(size, std::memory_order_relaxed);
        core::invariant(before >= size, kTooFew);
    }
}

MemoryPool& defaultPool() {
    return theDefaultPool;
}

} // namespace core
