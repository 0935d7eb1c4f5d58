// Benchmarks whose results are proportions: this library's median beside a peer's from the same
// run, and how the two should relate.
#pragma once

#include <span>
#include <vector>

namespace bench {

// What a benchmark reports besides its time goes by the name of a counter.
constexpr const char* kTime = "time";

struct Goal {
    enum class Sense { atMost, atLeast };

    const char* measured; // a benchmark with its arguments and its number of threads
    const char* peer;
    const char* figure; // kTime or a counter
    Sense sense;
    double proportion; // of the measured figure to the peer's
};

constexpr Goal atMost(double proportion, const char* peer, const char* measured,
                      const char* figure = kTime) {
    return {measured, peer, figure, Goal::Sense::atMost, proportion};
}

constexpr Goal atLeast(double proportion, const char* peer, const char* measured,
                       const char* figure = kTime) {
    return {measured, peer, figure, Goal::Sense::atLeast, proportion};
}

// So great a part of the values is not above it. Changes their order.
double percentile(std::vector<double>& values, double part);

// A benchmark program's main function: runs what is registered, five rounds of each in random order
// unless the command line (Google Benchmark's) says otherwise, and ends with a table of the goals.
// The option --ratios=<file> also appends them to a file of comma-separated values.
int run(int argc, char** argv, std::span<const Goal> goals);

} // namespace bench
