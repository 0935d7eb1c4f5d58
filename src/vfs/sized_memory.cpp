#include "vfs/sized_memory.h"

#include "core/memory_pool.h"

#include <limits>

namespace vfs {

namespace {

// In front of each block; as large as the alignment that blocks have.
struct alignas(std::max_align_t) Header {
    std::size_t size; // with the header
};

Header* headerOf(void* block) {
    return block == nullptr ? nullptr : static_cast<Header*>(block) - 1;
}

} // namespace

void* allocateSized(std::size_t size) {
    return reallocateSized(nullptr, size);
}

void* reallocateSized(void* block, std::size_t size) {
    if (size > std::numeric_limits<std::size_t>::max() - sizeof(Header)) {
        return nullptr;
    }
    Header* const old = headerOf(block);
    const std::size_t total = size + sizeof(Header);
    auto* const header = static_cast<Header*>(
        core::defaultPool().reallocate(old, old == nullptr ? 0 : old->size, total));
    if (header == nullptr) {
        return nullptr;
    }
    header->size = total;
    return header + 1;
}

void releaseSized(void* block) {
    if (Header* const header = headerOf(block)) {
        core::defaultPool().release(header, header->size);
    }
}

} // namespace vfs
