// Benchmarks of one operation at three sizes, each ten times the one before. They measure how the
// time grows with the size, not the time itself.
#pragma once

#include "goals.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace bench {

// The counter for the time of one item; an iteration works through many items.
constexpr const char* kEach = "each";

inline void countEach(benchmark::State& state, std::int64_t things) {
    state.counters[kEach] = benchmark::Counter(static_cast<double>(things),
                                               benchmark::Counter::kIsIterationInvariantRate |
                                                   benchmark::Counter::kInvert);
}

template<std::int64_t Smallest>
void threeSizes(benchmark::internal::Benchmark* benchmark) {
    for (const std::int64_t size : {Smallest, 10 * Smallest, 100 * Smallest}) {
        benchmark->Arg(size);
    }
    benchmark->UseRealTime();
}

// An item at the largest size takes at most `proportion` times as long as one at the smallest size.
constexpr Goal growth(double proportion, const char* fewest, const char* most) {
    return atMost(proportion, fewest, most, kEach);
}

} // namespace bench
