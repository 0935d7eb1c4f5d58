// Lua numbers as integers.
#pragma once

#include <limits>

namespace lua {

// The number with its fraction cut off; the smallest integer, as the processor has it, for what the
// integer cannot hold.
template<class Integer>
Integer truncate(double number) {
    constexpr auto kLowest = static_cast<double>(std::numeric_limits<Integer>::min());
    const bool fits = number > kLowest - 1 && number < -kLowest;
    return fits ? static_cast<Integer>(number) : std::numeric_limits<Integer>::min();
}

} // namespace lua
