// Hints to the processor.
#pragma once

namespace core {

// Asks for the cache line at an address, which is about to be written to. Any address will do.
inline void prefetchForWriting(const void* address) {
#if defined(__x86_64__)
    // The compilers' own hint fetches a line to read it; the write would then have to wait until
    // the other processors have given up theirs.
    asm volatile("prefetchw (%0)" : : "r"(address));
#else
    __builtin_prefetch(address, 1);
#endif
}

} // namespace core
