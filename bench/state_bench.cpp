// States of many objects for a network: changes, compared with whole states.
#include "growth.h"

#include "Serial/CommonBufferizer.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using bench::atMost;
using Common::CommonBufferizer;

constexpr bench::Goal kGoals[] = {
    atMost(0.10, "state/whole/10000", "state/changed/10000"),
    atMost(0.05, "state/whole/10000", "state/changed/10000", "bytes"),
    atMost(0.10, "watch/whole/10000", "watch/changed/10000"),
    bench::growth(1.5, "state/whole/10000", "state/whole/1000000"),
    bench::growth(1.5, "state/changed/10000", "state/changed/1000000"),
    bench::growth(1.5, "walk/whole/10000",
                  "walk/whole/1000000"), // the caches' part in the two above
    bench::growth(1.5, "walk/changed/10000", "walk/changed/1000000"),
};

class Ship : public Common::SerializableObject {
public:
    Ship() : SerializableObject("Ship") {}

    void serialize(Common::CommonSerializer& serializer) override {
        serializer.transferBits("kind", kind_, 6);
        serializer.transferBits("crew", crew_, 10);
        serializer.transfer("isAfloat", isAfloat_);
        serializer.transfer("x", x_);
        serializer.transfer("y", y_);
        serializer.transfer("z", z_);
        serializer.transferFixed("heading", heading_, 0, 360, 12);
        serializer.transferHalf("speed", speed_);
        serializer.transfer("fuel", fuel_);
        serializer.transfer("number", number_);
    }

    void move() {
        x_ += 1;
        y_ += 2;
        fuel_ -= 0.5F;
    }

    float look() const { return x_ + y_ + fuel_ + static_cast<float>(kind_ + number_); }

private:
    int kind_ = 3, crew_ = 20, number_ = 1000;
    bool isAfloat_ = true;
    float x_ = 0, y_ = 0, z_ = 0, heading_ = 10, speed_ = 5, fuel_ = 100;
};

class ShipFactory : public Common::Factory {
public:
    ShipFactory() { addIdentifier("Ship"); }
    Common::Identifiable* create(const Common::Identifier& /*name*/) override { return new Ship; }
};

constexpr std::uint32_t kOneIn = 50; // of the objects change

void fill(CommonBufferizer& states, std::int64_t count) {
    for (std::uint32_t number = 1; number <= count; ++number) {
        states.add(number, Common::Ref<Common::SerializableObject>(new Ship));
    }
}

void moveSome(CommonBufferizer& states, std::int64_t count) {
    for (std::uint32_t number = kOneIn; number <= count; number += kOneIn) {
        static_cast<Ship*>(states.get(number))->move();
        states.mark(number);
    }
}

double sizeOf(const std::vector<Mail::Message>& messages) {
    double size = 0;
    for (const Mail::Message& message : messages) {
        size += static_cast<double>(message.getSize());
    }
    return size;
}

// A whole state, as the other side first gets it: all objects are looked at.
void writeWhole(benchmark::State& state) {
    double size = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::optional<CommonBufferizer> states(std::in_place);
        fill(*states, state.range(0));
        state.ResumeTiming();
        states->capture();
        size = sizeOf(states->write(0, 1));
        state.PauseTiming();
        states.reset();
        state.ResumeTiming();
    }
    state.counters["bytes"] = size;
    bench::countEach(state, state.range(0));
}

void writeChanged(benchmark::State& state) {
    CommonBufferizer states;
    fill(states, state.range(0));
    states.capture();
    std::uint32_t last = states.capture();
    states.forget(last); // keeps what the first state left out of the measurement
    double size = 0;
    for (auto _ : state) {
        moveSome(states, state.range(0));
        const std::uint32_t next = states.captureMarked();
        size = sizeOf(states.write(last, 1));
        states.forget(last);
        last = next;
    }
    state.counters["bytes"] = size;
    bench::countEach(state, state.range(0));
}

// What the memory of the objects costs by itself, for those of which a state takes notice: the
// growth of the states' own work is held against this one's.
void walk(benchmark::State& state, std::uint32_t oneIn) {
    CommonBufferizer states;
    fill(states, state.range(0));
    std::vector<const Ship*> ships;
    for (std::uint32_t number = oneIn; number <= state.range(0); number += oneIn) {
        ships.push_back(static_cast<const Ship*>(states.get(number)));
    }
    for (auto _ : state) {
        float sum = 0;
        for (const Ship* const ship : ships) {
            sum += ship->look();
        }
        benchmark::DoNotOptimize(sum);
    }
    bench::countEach(state, state.range(0));
}

void watch(benchmark::State& state, bool isWhole) {
    Common::FactoryManager factories;
    factories.addFactory(new ShipFactory);
    CommonBufferizer states, watcher(factories);
    fill(states, state.range(0));
    std::uint32_t last = 0;
    const auto step = [&](bool fromNothing, auto begin) {
        moveSome(states, state.range(0));
        const std::uint32_t next = states.captureMarked();
        Common::StateParts parts;
        const auto messages = states.write(fromNothing ? 0 : last, 1);
        states.forget(next);
        last = next;
        begin();
        for (const Mail::Message& message : messages) {
            parts.add(message);
        }
        return watcher.read(parts);
    };
    step(true, [] {});
    step(false, [] {});
    for (auto _ : state) {
        state.PauseTiming();
        if (!step(isWhole, [&] { state.ResumeTiming(); })) {
            state.SkipWithError(watcher.getError().c_str());
            break;
        }
    }
    bench::countEach(state, state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(10'000)->Arg(1'000'000);
}

BENCHMARK(writeWhole)->Name("state/whole")->Apply(sizes);
BENCHMARK(writeChanged)->Name("state/changed")->Apply(sizes);
BENCHMARK_CAPTURE(walk, whole, 1)->Name("walk/whole")->Apply(sizes);
BENCHMARK_CAPTURE(walk, changed, kOneIn)->Name("walk/changed")->Apply(sizes);
BENCHMARK_CAPTURE(watch, whole, true)->Name("watch/whole")->Arg(10'000);
BENCHMARK_CAPTURE(watch, changed, false)->Name("watch/changed")->Arg(10'000)->Arg(100'000);

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}
