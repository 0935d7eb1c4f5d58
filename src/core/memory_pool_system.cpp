#include "core/memory_pool.h"

#include <cstdlib>

namespace core {

// Nothing to open or close: the heap is the C library's, and `heap_` only says that the pool is
// open.

bool MemoryPool::openHeap() {
    heap_ = this;
    return true;
}

void MemoryPool::closeHeap() {}

void* MemoryPool::resize(void* block, std::size_t size) {
    return std::realloc(block, size);
}

void MemoryPool::free(void* block) {
    std::free(block);
}

std::size_t MemoryPool::footprint() const {
    return liveBytes();
}

} // namespace core
