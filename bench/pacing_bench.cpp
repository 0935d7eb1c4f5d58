// How evenly frames are paced: the difference between their durations and the wanted one, with work
// of changing length in them. The peer sleeps until times on a fixed grid.
#include "goals.h"

#include "Core/Clock.h"
#include "Util/FPS_Controller.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr int kFrames = 150;

class Controller {
public:
    explicit Controller(double duration) : controller_(static_cast<float>(1 / duration)) {}
    void startFrame() { controller_.StartFrame(); }

private:
    FPS_Controller controller_;
};

class Grid {
public:
    explicit Grid(double duration)
        : step_(std::chrono::duration_cast<std::chrono::nanoseconds>(
              std::chrono::duration<double>(duration))) {}

    void startFrame() {
        next_ += step_;
        std::this_thread::sleep_until(next_);
    }

private:
    std::chrono::nanoseconds step_;
    std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now();
};

void workFor(double seconds) {
    const double end = QZ_get_time() + seconds;
    while (QZ_get_time() < end) {
    }
}

// Reports microseconds.
template<class Pacer>
void pace(benchmark::State& state) {
    const double wanted = 1.0 / static_cast<double>(state.range(0));
    Pacer pacer(wanted);
    std::mt19937 generator(1);
    std::uniform_real_distribution<double> work(0, wanted / 2);
    std::vector<double> errors;
    pacer.startFrame();
    double last = QZ_get_time();
    for (auto _ : state) {
        workFor(work(generator));
        pacer.startFrame();
        const double now = QZ_get_time();
        errors.push_back(std::fabs(now - last - wanted) * 1e6);
        last = now;
    }
    state.counters["p50_us"] = bench::percentile(errors, 0.5);
    state.counters["p99_us"] = bench::percentile(errors, 0.99);
}

BENCHMARK(pace<Controller>)
    ->Name("pacing/qz")
    ->Arg(60)
    ->Arg(144)
    ->Iterations(kFrames)
    ->UseRealTime();
BENCHMARK(pace<Grid>)->Name("pacing/grid")->Arg(60)->Arg(144)->Iterations(kFrames)->UseRealTime();

constexpr bench::Goal kFigures[] = {
    bench::beside("pacing/grid/60", "pacing/qz/60", "p50_us"),
    bench::beside("pacing/grid/60", "pacing/qz/60", "p99_us"),
    bench::beside("pacing/grid/144", "pacing/qz/144", "p50_us"),
    bench::beside("pacing/grid/144", "pacing/qz/144", "p99_us"),
};

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kFigures);
}
