// Memory whose neighbourhood faults: a write past its end is noticed at once, not much later.
#pragma once

#include <cstdint>

namespace platform {

// `size` bytes, zeroed, that may be read and written, between at least 64 KiB of address space on
// either side that may not. The size is a multiple of 64 KiB. Null if it is 0 or the system
// refuses.
void* allocateGuarded(std::uint64_t size);

// Gives back memory of the above with the size that was asked for; null is allowed.
void releaseGuarded(void* memory, std::uint64_t size);

} // namespace platform
