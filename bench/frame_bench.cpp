// An engine's frame with several services, compared with the same frame made with other libraries.
// The two sides take turns, frame by frame, so that both run under the same conditions.
#include "Core/Log.h"
#include "frame/frame.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <vector>

QZ_LOG_ECHO_LEVELS(QZ_LOG_ALERT); // the peer, too, writes to its file alone

namespace {

using bench::frame::kServices;
using bench::frame::Services;
using Clock = std::chrono::steady_clock;

constexpr bench::Goal kGoals[] = {
    bench::atMost(0.4, "frame/peers", "frame/qz", "p50"),
    bench::atMost(0.4, "frame/peers", "frame/qz", "p99"),
    bench::atMost(0.25, "frame/peers", "frame/qz", "p99.9"),
};

constexpr std::size_t kServiceCount = std::size(kServices);

// The goals, and each service's share without one.
std::vector<bench::Goal> figures() {
    std::vector<bench::Goal> figures(std::begin(kGoals), std::end(kGoals));
    for (const char* service : kServices) {
        figures.push_back(bench::beside("frame/peers", "frame/qz", service));
    }
    return figures;
}

constexpr int kWarmUp = 100, kFrames = 2000;

// Microseconds of each service, followed by those of the frame.
class Times {
public:
    void add(Services& services) {
        Clock::time_point before = Clock::now();
        const Clock::time_point start = before;
        for (std::size_t i = 0; i < kServiceCount; ++i) {
            services[i]->run();
            const Clock::time_point after = Clock::now();
            add(i, after - before);
            before = after;
        }
        add(kServiceCount, before - start);
    }

    double frame(double part) { return bench::percentile(values_[kServiceCount], part); }
    double service(std::size_t index) { return bench::percentile(values_[index], 0.5); }

private:
    void add(std::size_t index, Clock::duration time) {
        values_[index].push_back(std::chrono::duration<double, std::micro>(time).count());
    }

    std::array<std::vector<double>, kServiceCount + 1> values_;
};

// Its destructor removes the log's files too.
class Directory {
public:
    Directory() {
        if (mkdtemp(path_.data()) == nullptr) {
            std::perror(path_.c_str());
            std::exit(1);
        }
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_ = (std::filesystem::temp_directory_path() / "qz_frame.XXXXXX").string();
};

enum Side { kQz, kPeers };

class Frames {
public:
    Frames() {
        auto qzSnapshots = bench::frame::makeQzSnapshots();
        auto peersSnapshots = bench::frame::makePeersSnapshots();
        sides_[kQz] = bench::frame::makeQzServices(directory_.path());
        sides_[kPeers] = bench::frame::makePeersServices(directory_.path());
        sides_[kQz].push_back(std::move(qzSnapshots));
        sides_[kPeers].push_back(std::move(peersSnapshots));
    }

    // Both sides are measured together; each result is returned once.
    Times take(Side side) {
        if (!results_[side]) {
            measure(kWarmUp);
            measure(kFrames);
        }
        Times times = *std::move(results_[side]);
        results_[side].reset();
        return times;
    }

private:
    void measure(int frames) {
        for (auto& result : results_) {
            result.emplace();
        }
        for (int i = 0; i < frames; ++i) {
            results_[kQz]->add(sides_[kQz]);
            results_[kPeers]->add(sides_[kPeers]);
        }
    }

    Directory directory_;
    std::array<Services, 2> sides_;
    std::array<std::optional<Times>, 2> results_;
};

void frame(benchmark::State& state, Frames& frames, Side side) {
    for (auto _ : state) {
        Times times = frames.take(side);
        state.counters["p50"] = times.frame(0.5);
        state.counters["p99"] = times.frame(0.99);
        state.counters["p99.9"] = times.frame(0.999);
        for (std::size_t i = 0; i < kServiceCount; ++i) {
            state.counters[kServices[i]] = times.service(i);
        }
        state.SetIterationTime(times.frame(0.5) / 1e6);
    }
}

} // namespace

int main(int argc, char** argv) {
    Frames frames; // forks, so it must come before all threads
    for (const auto& [name, side] : {std::pair("frame/qz", kQz), {"frame/peers", kPeers}}) {
        benchmark::RegisterBenchmark(
            name, [&frames, side = side](benchmark::State& state) { frame(state, frames, side); })
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    return bench::run(argc, argv, figures());
}
