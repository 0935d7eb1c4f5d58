// Benchmarks of one operation at three sizes, each ten times the one before: what counts is how
// much more it costs where there is more, not what it costs.
#pragma once

#include "goals.h"

#include <benchmark/benchmark.h>

#include <cstdint>

namespace bench {

// What one of the things takes which an iteration works through.
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

// One thing among the most takes at most so many times as long as one among the fewest.
constexpr Goal growth(double proportion, const char* fewest, const char* most) {
    return atMost(proportion, fewest, most, kEach);
}

} // namespace bench
