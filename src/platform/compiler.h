// What GCC and clang spell in one way and Microsoft's compiler in another.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__) || defined(_M_X64)
#    define QZ_X64
#endif

#if defined(__GNUC__) || defined(__clang__)
#    define QZ_GNU_SYNTAX
#    if defined(QZ_X64)
#        include <cpuid.h>
#    endif
#else
#    include <intrin.h>
#endif

// QZ_FOR_PROCESSOR: the function uses instructions that not every processor has.
// QZ_UNCHECKED_READS: the function reads memory in a way that the sanitizers would report.
#if defined(QZ_GNU_SYNTAX)
#    define QZ_FOR_PROCESSOR(features) __attribute__((target(features)))
#    define QZ_UNCHECKED_READS __attribute__((no_sanitize("address", "thread")))
#else
#    define QZ_FOR_PROCESSOR(features) // may use any
#    define QZ_UNCHECKED_READS __declspec(no_sanitize_address)
#endif

// Exports a variable whose symbol begins with qz_ by its plain name, too, for programs that look it
// up when they run. The library does not use that name, so a program's own variable of that name
// does no harm.
#if defined(_WIN32)
#    define QZ_EXPORT_BY_NAME(type, name) static_assert(true)
#else
#    define QZ_EXPORT_BY_NAME(type, name)                                 \
        extern __attribute__((visibility("default"), alias("qz_" #name))) \
        type name##Alias __asm__(#name)
#endif

namespace platform {

// Fetches the cache line at an address for a write that follows soon. Any address is allowed.
inline void prefetchForWriting(const void* address) {
#if !defined(QZ_GNU_SYNTAX)
    _m_prefetchw(address);
#elif defined(QZ_X64)
    // The compilers' own hint fetches the line for reading; the write would then still have to wait
    // until the other processors have given up theirs.
    asm volatile("prefetchw (%0)" : : "r"(address));
#else
    __builtin_prefetch(address, 1);
#endif
}

#if defined(QZ_X64)
// Copies forward with the processor's string instruction.
inline void moveBytes(char* to, const char* from, std::size_t count) {
#    if defined(QZ_GNU_SYNTAX)
    asm volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(count) : : "memory");
#    else
    __movsb(reinterpret_cast<unsigned char*>(to), reinterpret_cast<const unsigned char*>(from),
            count);
#    endif
}

// What the processor can do: register ECX of the first leaf of CPUID.
inline std::uint32_t processorFeatures() {
#    if defined(QZ_GNU_SYNTAX)
    unsigned a = 0, b = 0, c = 0, d = 0;
    __get_cpuid(1, &a, &b, &c, &d);
    return c;
#    else
    int registers[4];
    __cpuid(registers, 1);
    return static_cast<std::uint32_t>(registers[2]);
#    endif
}

// XCR0: which registers the system saves. Only where processorFeatures() has the OSXSAVE bit.
inline std::uint64_t savedRegisters() {
#    if defined(QZ_GNU_SYNTAX)
    std::uint32_t low = 0, high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return std::uint64_t{high} << 32 | low;
#    else
    return _xgetbv(0);
#    endif
}
#endif

} // namespace platform
