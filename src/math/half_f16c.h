// The array conversions on the processor's own instructions (F16C).
#pragma once

#include <cstddef>

namespace math {

// Whether processor and system offer them. Asks the processor each time.
bool hasF16c();

// Only where hasF16c(). They convert whole groups from the front and return how many values that
// is.
std::size_t float2halfF16c(unsigned short* out, const float* in, std::size_t count);
std::size_t half2floatF16c(float* out, const unsigned short* in, std::size_t count);

} // namespace math
