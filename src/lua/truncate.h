// Converts Lua numbers to integers.
#pragma once

#include <limits>

namespace lua {

// The number without its fraction; the smallest integer for a number that does not fit, as the
// processor's conversion gives it.
template<class Integer>
Integer truncate(double number) {
    constexpr auto kLowest = static_cast<double>(std::numeric_limits<Integer>::min());
    const bool fits = number > kLowest - 1 && number < -kLowest;
    return fits ? static_cast<Integer>(number) : std::numeric_limits<Integer>::min();
}

} // namespace lua
