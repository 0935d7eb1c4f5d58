// One random number from a table, compared with the usual generators.
#include "goals.h"

#include "Random/RandomManager.h"

#include <benchmark/benchmark.h>
#include <pcg_random.hpp>

#include <bit>
#include <cstdint>
#include <random>

namespace {

constexpr bench::Goal kGoals[] = {
    bench::atMost(0.12, "value/mt19937", "value/table"),
    bench::atMost(1.00, "value/pcg32", "value/table"),
};

constexpr int kMany = 4096;

// Uses all bits of the values in a way that takes less time than drawing them, unlike a sum of
// floats. The generator's state stays in memory from one batch to the next, as in an object of a
// simulation.
template<class Generator, class Draw>
void drawMany(benchmark::State& state, Generator generator, Draw draw) {
    benchmark::DoNotOptimize(&generator);
    for (auto _ : state) {
        std::uint32_t bits = 0;
        for (int i = 0; i < kMany; ++i) {
            bits ^= draw(generator);
        }
        benchmark::DoNotOptimize(bits);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kMany);
}

void table(benchmark::State& state) {
    drawMany(state, RandomObject(RandomObject::kUniform, 17),
             [](RandomObject& object) { return std::bit_cast<std::uint32_t>(object.get()); });
}

void mersenneTwister(benchmark::State& state) {
    drawMany(state, std::mt19937(17),
             [](std::mt19937& generator) { return static_cast<std::uint32_t>(generator()); });
}

void pcg32(benchmark::State& state) {
    drawMany(state, ::pcg32(17), [](::pcg32& generator) { return generator(); });
}

BENCHMARK(table)->Name("value/table");
BENCHMARK(mersenneTwister)->Name("value/mt19937");
BENCHMARK(pcg32)->Name("value/pcg32");

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}
