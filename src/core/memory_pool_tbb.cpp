#include "core/memory_pool.h"

#include <oneapi/tbb/scalable_allocator.h>

#include <cstdint>
#include <cstdlib>

namespace core {

namespace {

// The pool's identity, which the callbacks get, is the address of the counter that they update.
std::atomic<std::size_t>& counter(std::intptr_t poolId) {
    return *reinterpret_cast<std::atomic<std::size_t>*>(poolId);
}

void* takeRaw(std::intptr_t poolId, std::size_t& size) {
    void* const raw = std::malloc(size);
    if (raw != nullptr) {
        counter(poolId).fetch_add(size, std::memory_order_relaxed);
    }
    return raw;
}

int returnRaw(std::intptr_t poolId, void* raw, std::size_t size) {
    std::free(raw);
    counter(poolId).fetch_sub(size, std::memory_order_relaxed);
    return 0;
}

rml::MemoryPool* pool(void* heap) {
    return static_cast<rml::MemoryPool*>(heap);
}

} // namespace

bool MemoryPool::openHeap() {
    const rml::MemPoolPolicy policy(takeRaw, returnRaw);
    rml::MemoryPool* made = nullptr;
    const rml::MemPoolError error =
        rml::pool_create_v1(reinterpret_cast<std::intptr_t>(&footprint_), &policy, &made);
    heap_ = error == rml::POOL_OK ? made : nullptr;
    return heap_ != nullptr;
}

void MemoryPool::closeHeap() {
    rml::pool_destroy(pool(heap_));
}

void* MemoryPool::resize(void* block, std::size_t size) {
    return rml::pool_realloc(pool(heap_), block, size);
}

void MemoryPool::free(void* block) {
    rml::pool_free(pool(heap_), block);
}

std::size_t MemoryPool::footprint() const {
    return footprint_.load(std::memory_order_relaxed);
}

} // namespace core
