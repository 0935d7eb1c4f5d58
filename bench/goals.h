// Benchmarks whose results are ratios: this library's median to a peer's median from the same run,
// and a goal for each ratio.
#pragma once

#include <span>
#include <vector>

namespace bench {

// The figure of a benchmark: its time, or a counter by its name.
constexpr const char* kTime = "time";

struct Goal {
    enum class Sense { atMost, atLeast, none };

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

// For a comparison that has no goal.
constexpr Goal beside(const char* peer, const char* measured, const char* figure = kTime) {
    return {measured, peer, figure, Goal::Sense::none, 0};
}

// The value that this part of the values does not exceed. Changes their order.
double percentile(std::vector<double>& values, double part);

// A benchmark program's main function: runs the registered benchmarks, five short rounds of each in
// random order unless the command line (Google Benchmark's) says otherwise, and prints a table of
// the goals. The option --results=<file> also appends the results to a file of comma-separated
// values. Returns the program's exit code: 1 if all benchmarks ran and one that a goal names was
// not among them.
int run(int argc, char** argv, std::span<const Goal> goals);

} // namespace bench
