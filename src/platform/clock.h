// The system's steady high-resolution counter.
#pragma once

#include <cstdint>

namespace platform {

std::int64_t counterValue();

// Counts per second; constant while the system runs.
std::int64_t counterRate();

} // namespace platform
