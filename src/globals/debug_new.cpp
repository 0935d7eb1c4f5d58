#include "Globals.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <new>

namespace {

constinit std::atomic<std::uint64_t> allocatedBytes{0};

} // namespace

void* operator new(std::size_t size, const char* /*file*/, int /*line*/) {
    allocatedBytes.fetch_add(size, std::memory_order_relaxed);
    if (std::FILE* const log = std::fopen("memory.log", "at")) {
        std::fclose(log);
    }
    return ::operator new(size);
}

// Called if a constructor throws.
void operator delete(void* block, const char* /*file*/, int /*line*/) noexcept {
    ::operator delete(block);
}
