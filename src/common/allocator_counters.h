// What the library itself needs of the counters of qz::allocator beyond Common/Allocator.h.
#pragma once

#include <cstdint>

namespace common {

struct AllocatorActivity {
    std::uint64_t allocations;
    std::uint64_t releases;
};

// What happened since the last call of takeAllocatorActivity.
AllocatorActivity allocatorActivity();
AllocatorActivity takeAllocatorActivity();

// Zeroes the bytes held and the activity.
void resetAllocatorCounters();

} // namespace common
