// The array conversions on the processor's own instructions (F16C).
#pragma once

#include <cstddef>

namespace math {

// Whether the processor and the system support the instructions. Asks the processor each time.
bool hasF16c();

// Call them only if hasF16c() is true. They convert whole groups of values from the front and
// return the number of values converted.
std::size_t float2halfF16c(unsigned short* out, const float* in, std::size_t count);
std::size_t half2floatF16c(float* out, const unsigned short* in, std::size_t count);

} // namespace math
