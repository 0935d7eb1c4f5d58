#include "platform/guarded_memory.h"

#include <windows.h>

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
    void* const reserved = VirtualAlloc(nullptr, size + 2 * kGuard, MEM_RESERVE, PAGE_NOACCESS);
    if (reserved == nullptr) {
        return nullptr;
    }
    void* const memory =
        VirtualAlloc(static_cast<char*>(reserved) + kGuard, size, MEM_COMMIT, PAGE_READWRITE);
    if (memory == nullptr) {
        VirtualFree(reserved, 0, MEM_RELEASE);
    }
    return memory;
}

void releaseGuarded(void* memory, std::uint64_t) {
    if (memory != nullptr) {
        // Decommits as well.
        VirtualFree(static_cast<char*>(memory) - kGuard, 0, MEM_RELEASE);
    }
}

} // namespace platform
