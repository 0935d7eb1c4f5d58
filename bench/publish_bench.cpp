// The time that qz_publish takes in a frame while nobody watches, in microseconds, compared with
// its limit.
#include "goals.h"

#include "Common/Profiler.h"
#include "Core/Log.h"
#include "Core/Watch.h"
#include "Util/Publish.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

QZ_LOG_ECHO_LEVELS(0);

namespace {

using bench::atMost;
using Clock = std::chrono::steady_clock;

constexpr bench::Goal kGoals[] = {
    atMost(1.0, "publish/limit", "publish/frame/0/0", "p50_us"),
    atMost(1.0, "publish/limit", "publish/frame/16/0", "p50_us"),
    atMost(1.0, "publish/limit", "publish/frame/16/10", "p50_us"),
};

constexpr char kName[] = "publish_bench";
constexpr int kFrames = 200;

// Fills the table of 16 watches, besides the library's own.
void addWatches() {
    const QZ_watch_callback print = [](unsigned int, char* buffer, size_t size, void*) {
        return static_cast<size_t>(std::snprintf(buffer, size, "%d of %.2f MB", 17, 12.5));
    };
    for (int i = 0; QZ_watch_set(("watch " + std::to_string(i)).c_str(), print, nullptr) != 0;
         ++i) {
    }
}

// Arguments: milliseconds between frames, and lines logged in each frame. With time between them
// the frames are realistic: code and data have left the caches since the last frame, and nearly
// each frame reads one of the watches.
void frame(benchmark::State& state) {
    std::vector<double> times;
    for (auto _ : state) {
        for (int i = 0; i < state.range(1); ++i) {
            qz_log("BENCH", QZ_LOG_INFO, i % 2 == 0 ? "a message of some length" : "another one");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(state.range(0)));
        globalProfiler.startFrame();
        globalProfiler.endFrame();
        const auto start = Clock::now();
        if (qz_publish(kName) == 0) {
            state.SkipWithError("nothing is published");
        }
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    state.counters["p50_us"] = bench::percentile(times, 0.5);
    state.counters["p99_us"] = bench::percentile(times, 0.99);
}

void limit(benchmark::State& state) {
    for (auto _ : state) {
    }
    state.counters["p50_us"] = 20;
}

BENCHMARK(frame)
    ->Name("publish/frame")
    ->Args({0, 0})
    ->Args({16, 0})
    ->Args({16, 10})
    ->Iterations(kFrames)
    ->UseRealTime();
BENCHMARK(limit)->Name("publish/limit")->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    qz_log_start(nullptr, nullptr);
    addWatches();
    globalProfiler.start();
    const int exitCode = bench::run(argc, argv, kGoals);
    qz_publish_stop();
    qz_log_stop();
    return exitCode;
}
