#include "goals.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace bench {

namespace {

using Run = benchmark::BenchmarkReporter::Run;

// The medians of a benchmark: its time in nanoseconds, and its counters.
using Figures = std::map<std::string, double, std::less<>>;

std::string nameOf(const Run& run) {
    const benchmark::BenchmarkName& name = run.run_name;
    std::string full = name.function_name;
    for (const std::string* part : {&name.args, &name.threads}) {
        if (!part->empty()) {
            full += "/" + *part;
        }
    }
    return full;
}

Figures figuresOf(const Run& run) {
    const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
    Figures figures{{kTime, run.GetAdjustedRealTime() / unit * 1e9}};
    for (const auto& [name, counter] : run.counters) {
        figures[name] = counter.value;
    }
    return figures;
}

// Prints only medians (or the result of a single round), and keeps them.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    MedianReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        std::vector<Run> shown;
        for (const Run& run : runs) {
            if (run.error_occurred) {
                shown.push_back(run);
            } else if (run.aggregate_name == "median" || run.repetitions == 1) {
                shown.push_back(run);
                figures_[nameOf(run)] = figuresOf(run);
            }
        }
        ConsoleReporter::ReportRuns(shown);
    }

    std::optional<double> figure(std::string_view benchmark, std::string_view name) const {
        const auto found = figures_.find(benchmark);
        if (found == figures_.end()) {
            return std::nullopt;
        }
        const auto value = found->second.find(name);
        return value == found->second.end() ? std::nullopt : std::optional(value->second);
    }

private:
    std::map<std::string, Figures, std::less<>> figures_;
};

struct Result {
    const Goal* goal;
    double measured, peer;

    double proportion() const { return measured / peer; }
};

const char* nameOf(Goal::Sense sense) {
    switch (sense) {
    case Goal::Sense::atMost:
        return "<=";
    case Goal::Sense::atLeast:
        return ">=";
    case Goal::Sense::none:
        break;
    }
    return "";
}

std::string outcomeOf(const Result& result) {
    const double proportion = result.proportion(), wanted = result.goal->proportion;
    switch (result.goal->sense) {
    case Goal::Sense::atMost:
        return proportion <= wanted ? "met" : "MISSED";
    case Goal::Sense::atLeast:
        return proportion >= wanted ? "met" : "MISSED";
    case Goal::Sense::none:
        break;
    }
    return "";
}

// Leaves out goals whose benchmarks were filtered out.
std::vector<Result> resultsOf(std::span<const Goal> goals, const MedianReporter& medians) {
    std::vector<Result> results;
    for (const Goal& goal : goals) {
        const auto measured = medians.figure(goal.measured, goal.figure);
        const auto peer = medians.figure(goal.peer, goal.figure);
        if (measured && peer) {
            results.push_back({&goal, *measured, *peer});
        }
    }
    return results;
}

// A goal that was not measured although all benchmarks ran is misspelt, or its benchmark failed.
bool reportMissing(std::span<const Goal> goals, const std::vector<Result>& results) {
    bool isMissing = false;
    for (const Goal& goal : goals) {
        if (std::ranges::find(results, &goal, &Result::goal) == results.end()) {
            std::fprintf(stderr, "No benchmark has the %s of this goal: %s beside %s\n",
                         goal.figure, goal.measured, goal.peer);
            isMissing = true;
        }
    }
    return isMissing;
}

void print(const std::vector<Result>& results) {
    std::printf("\n%-36s %-36s %-16s %10s %10s %8s  %s\n", "Measured", "Peer", "Figure", "measured",
                "peer", "ratio", "goal");
    for (const Result& result : results) {
        const Goal& goal = *result.goal;
        std::printf("%-36s %-36s %-16s %10.4g %10.4g %8.3f  %s %-6.3g %s\n", goal.measured,
                    goal.peer, goal.figure, result.measured, result.peer, result.proportion(),
                    nameOf(goal.sense), goal.proportion, outcomeOf(result).c_str());
    }
}

// Writes a line for each result, for scripts/bench_report.py.
bool append(const std::vector<Result>& results, const std::string& program,
            const std::string& path) {
    std::ofstream file(path, std::ios::app);
    for (const Result& result : results) {
        const Goal& goal = *result.goal;
        file << program << ',' << goal.measured << ',' << goal.peer << ',' << goal.figure << ','
             << result.measured << ',' << result.peer << ',' << nameOf(goal.sense) << ','
             << goal.proportion << '\n';
    }
    file.flush();
    return file.good();
}

// Removes "<option><value>" from the arguments and returns the value; empty if there is no such
// option.
std::string takeOption(std::vector<char*>& arguments, std::string_view option) {
    std::string value;
    std::erase_if(arguments, [&](std::string_view argument) {
        const bool isOption = argument.starts_with(option);
        if (isOption) {
            value = argument.substr(option.size());
        }
        return isOption;
    });
    return value;
}

// In a process with one thread the C library omits atomic operations. Programs that use the
// measured code have several threads, so this adds one.
class IdleThread {
    std::mutex mutex_;
    std::condition_variable_any never_;
    std::jthread thread_{[this](const std::stop_token& stop) {
        std::unique_lock lock(mutex_);
        never_.wait(lock, stop, [] { return false; });
    }};
};

} // namespace

double percentile(std::vector<double>& values, double part) {
    const auto place =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

int run(int argc, char** argv, std::span<const Goal> goals) {
    // Rounds in random order, so that a machine that slows down affects all. Later arguments win.
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::string repetitions = "--benchmark_repetitions=5";
    std::string length = "--benchmark_min_time=0.2"; // of a round, in seconds
    std::vector<char*> arguments{argv[0], interleaving.data(), repetitions.data(), length.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    const std::string resultsFile = takeOption(arguments, "--results=");
    std::string filter = "--benchmark_filter=" + takeOption(arguments, "--benchmark_filter=");
    const bool areAllRun = filter.ends_with('=');
    if (!areAllRun) {
        arguments.push_back(filter.data());
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);

    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    const IdleThread idle;
    MedianReporter medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    benchmark::Shutdown();
    const std::vector<Result> results = resultsOf(goals, medians);
    print(results);
    const std::string program = std::filesystem::path(argv[0]).stem().string();
    if (!resultsFile.empty() && !append(results, program, resultsFile)) {
        std::perror(resultsFile.c_str());
        return 1;
    }
    if (areAllRun && reportMissing(goals, results)) {
        return 1;
    }
    return 0;
}

} // namespace bench
