#include "platform/guarded_memory.h"

#include <sys/mman.h>

#include <limits>

namespace platform {

namespace {

constexpr std::uint64_t kGuard = std::uint64_t{64} * 1024;
constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max() - 2 * kGuard;

} // namespace

void* allocateGuarded(std::uint64_t size) {
    if (size == 0 || size > kLargest) {
        return nullptr;
    }
    void* const reserved = mmap(nullptr, size + 2 * kGuard, PROT_NONE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (reserved == MAP_FAILED) {
        return nullptr;
    }
    void* const memory = static_cast<char*>(reserved) + kGuard;
    if (mprotect(memory, size, PROT_READ | PROT_WRITE) != 0) {
        munmap(reserved, size + 2 * kGuard);
        return nullptr;
    }
    return memory;
}

void releaseGuarded(void* memory, std::uint64_t size) {
    if (memory != nullptr) {
        munmap(static_cast<char*>(memory) - kGuard, size + 2 * kGuard);
    }
}

} // namespace platform
