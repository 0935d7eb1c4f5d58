// Memory between inaccessible pages: a write past its end faults at once.
#pragma once

#include <cstdint>

namespace platform {

// `size` readable, writable bytes of zeros, with at least 64 KiB of inaccessible addresses on
// either side. The size is a multiple of 64 KiB. Null if it is 0 or the system refuses.
void* allocateGuarded(std::uint64_t size);

// Frees memory from allocateGuarded; `size` is the size given there. Null is allowed.
void releaseGuarded(void* memory, std::uint64_t size);

} // namespace platform
