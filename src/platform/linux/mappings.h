// What is mapped where in this process.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

struct Mapping {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    std::uintptr_t base = 0; // where the file's first byte is mapped; 0 if it is not
    char path[1024] = "";    // or "[stack]" and the like; empty if it has no name
};

// Null if nothing is mapped at the address; else valid until the next call. Safe in a signal
// handler: it asks the kernel, and not the loader, whose lock a crashed thread may hold. Remembers
// where code is, because the kernel lists all mappings each time. For one thread at a time.
const Mapping* findMapping(std::uintptr_t address);

// To be called before each report, because mappings may have changed.
void forgetMappings();

} // namespace platform
