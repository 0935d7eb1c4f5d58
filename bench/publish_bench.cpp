// What being watched costs a frame while nobody looks, beside what it may cost.
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

QZ_LOG_ECHO_LEVELS(0);

namespace {

using bench::atMost;
using Clock = std::chrono::steady_clock;

constexpr bench::Goal kGoals[] = {
    atMost(1.0, "publish/20us", "publish/frame"),
    atMost(1.0, "publish/20us", "publish/frame_with_10_lines"),
    atMost(1.0, "publish/20us", "publish/frame_that_reads_watches"),
};

constexpr char kName[] = "publish_bench";

// The library's own, and as many as there is room for.
void addWatches() {
    const QZ_watch_callback print = [](unsigned int, char* buffer, size_t size, void*) {
        return static_cast<size_t>(std::snprintf(buffer, size, "%d of %.2f MB", 17, 12.5));
    };
    for (int i = 0; QZ_watch_set(("watch " + std::to_string(i)).c_str(), print, nullptr) != 0;
         ++i) {
    }
}

void runFrame() {
    globalProfiler.startFrame();
    globalProfiler.endFrame();
}

void frame(benchmark::State& state) {
    for (auto _ : state) {
        runFrame();
        if (qz_publish(kName) == 0) {
            state.SkipWithError("nothing is published");
        }
    }
}

// Without the writing of the lines, but with their copying; time for the writer thread to hand them
// over.
void frameWithLines(benchmark::State& state) {
    for (auto _ : state) {
        for (int i = 0; i < 10; ++i) {
            qz_log("BENCH", QZ_LOG_INFO, i % 2 == 0 ? "a message of some length" : "another one");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        const auto start = Clock::now();
        runFrame();
        qz_publish(kName);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

void frameThatLooks(benchmark::State& state) {
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(251));
        const auto start = Clock::now();
        runFrame();
        qz_publish(kName);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
}

void budget(benchmark::State& state) {
    for (auto _ : state) {
        for (const auto end = Clock::now() + std::chrono::microseconds(20); Clock::now() < end;) {
        }
    }
}

BENCHMARK(frame)->Name("publish/frame");
BENCHMARK(frameWithLines)->Name("publish/frame_with_10_lines")->Iterations(200)->UseManualTime();
BENCHMARK(frameThatLooks)->Name("publish/frame_that_reads_watches")->Iterations(8)->UseManualTime();
BENCHMARK(budget)->Name("publish/20us");

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
