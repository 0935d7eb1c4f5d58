// The machine of the benchmark: four states and four events; each pair has a target and an output.
// One source that includes this header is compiled as C++17.
#pragma once

#include <cstdint>
#include <vector>

namespace bench {

constexpr std::uint32_t kCount = 4;

using Events = std::vector<std::uint32_t>;

constexpr std::uint32_t target(std::uint32_t state, std::uint32_t event) {
    return (state + event + 1) % kCount;
}

constexpr std::uint32_t output(std::uint32_t state, std::uint32_t event) {
    return state * kCount + event;
}

// A machine's result: the sum of all outputs so far.
template<typename Machine>
std::uint64_t sumOf(Machine& machine, const Events& events) {
    for (const std::uint32_t event : events) {
        machine.handle(event);
    }
    return machine.sum;
}

} // namespace bench
