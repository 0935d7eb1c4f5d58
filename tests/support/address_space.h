// A process that runs out of memory, without taking the machine's. Linux only.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace qz::test {

inline std::size_t addressSpaceInUse() {
    unsigned long pages = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%lu", &pages) != 1) {
            pages = 0;
        }
        std::fclose(file);
    }
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// From now on this process can have so many bytes more than it has.
inline void leaveAddressSpace(std::size_t bytes) {
    const rlim_t limit = addressSpaceInUse() + bytes;
    const rlimit limits{limit, limit};
    setrlimit(RLIMIT_AS, &limits);
}

} // namespace qz::test
