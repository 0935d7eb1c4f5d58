// What is mapped where in this process.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

struct Mapping {
    std::uintptr_t base = 0; // where the file's first byte is mapped; 0 if it is not
    char path[1024] = "";    // or "[stack]" and the like; empty if nobody gave it a name
};

// False if nothing is mapped at the address. Safe in a signal handler: it asks the kernel, and not
// the loader, whose lock a crashed thread may hold.
bool findMapping(std::uintptr_t address, Mapping& mapping);

} // namespace platform
