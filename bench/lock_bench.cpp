// Sync::Futex, compared with the standard mutex: with one thread, and with threads that all want
// it. With several threads the measures are the thread that gets it least often, and the longest
// wait.
#include "Tasks/Sync.h"

#include "goals.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kRound = 500ms;

void work(Clock::duration time) {
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
    }
}

template<class Lock>
void pair(benchmark::State& state) {
    Lock lock;
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

struct alignas(64) Turns {
    std::int64_t count = 0;
    Clock::duration longestWait{};
};

// Until the end of the round, holds the lock for a time and then runs without it for a time.
template<class Lock>
void takeTurns(Lock& lock, const std::atomic<bool>& isOver, Clock::duration held,
               Clock::duration apart, Turns& turns) {
    while (!isOver) {
        const auto begin = Clock::now();
        lock.lock();
        turns.longestWait = std::max(turns.longestWait, Clock::now() - begin);
        ++turns.count;
        work(held);
        lock.unlock();
        if (apart >= 1ms) {
            std::this_thread::sleep_for(apart);
        } else {
            work(apart);
        }
    }
}

void report(benchmark::State& state, const std::vector<Turns>& turns) {
    std::int64_t least = turns.front().count, all = 0;
    Clock::duration longest{};
    for (const Turns& thread : turns) {
        least = std::min(least, thread.count);
        all += thread.count;
        longest = std::max(longest, thread.longestWait);
    }
    const double seconds = std::chrono::duration<double>(kRound).count();
    state.counters["worst_turns"] = static_cast<double>(least) / seconds;
    state.counters["turns"] = static_cast<double>(all) / seconds;
    state.counters["longest_ms"] = std::chrono::duration<double, std::milli>(longest).count();
}

// So many threads at once; each holds the lock for so many nanoseconds and runs as long without it.
template<class Lock>
void contended(benchmark::State& state) {
    const auto held = std::chrono::nanoseconds(state.range(1));
    for (auto _ : state) {
        Lock lock;
        std::atomic<bool> isOver{false};
        std::vector<Turns> turns(static_cast<std::size_t>(state.range(0)));
        std::vector<std::jthread> threads;
        for (Turns& own : turns) {
            threads.emplace_back([&] { takeTurns(lock, isOver, held, held, own); });
        }
        std::this_thread::sleep_for(kRound);
        isOver = true;
        threads.clear();
        report(state, turns);
    }
}

// One thread releases the lock and takes it again at once; the other wants it once a millisecond.
template<class Lock>
void guest(benchmark::State& state) {
    const auto held = std::chrono::nanoseconds(state.range(0));
    for (auto _ : state) {
        Lock lock;
        std::atomic<bool> isOver{false};
        Turns host;
        std::vector<Turns> guests(1);
        {
            std::jthread busy([&] { takeTurns(lock, isOver, held, 0ns, host); });
            std::jthread other([&] { takeTurns(lock, isOver, 1us, 1ms, guests[0]); });
            std::this_thread::sleep_for(kRound);
            isOver = true;
        }
        report(state, guests);
    }
}

template<class Lock>
void registerLock(const std::string& name) {
    benchmark::RegisterBenchmark(("pair/" + name).c_str(), pair<Lock>);
    benchmark::RegisterBenchmark(("contended/" + name).c_str(), contended<Lock>)
        ->ArgsProduct({{2, 8, 32}, {300, 10000}})
        ->Iterations(1)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("guest/" + name).c_str(), guest<Lock>)
        ->Arg(300)
        ->Arg(100000)
        ->Iterations(1)
        ->UseRealTime();
}

constexpr bench::Goal turns(const char* peer, const char* measured) {
    return bench::atLeast(0.5, peer, measured, "worst_turns");
}

constexpr bench::Goal wait(const char* peer, const char* measured) {
    return bench::atMost(2.0, peer, measured, "longest_ms");
}

constexpr bench::Goal kGoals[] = {
    bench::atMost(0.6, "pair/std", "pair/qz"),
    turns("contended/std/2/300", "contended/qz/2/300"),
    wait("contended/std/2/300", "contended/qz/2/300"),
    turns("contended/std/8/300", "contended/qz/8/300"),
    wait("contended/std/8/300", "contended/qz/8/300"),
    turns("contended/std/32/300", "contended/qz/32/300"),
    wait("contended/std/32/300", "contended/qz/32/300"),
    turns("contended/std/2/10000", "contended/qz/2/10000"),
    wait("contended/std/2/10000", "contended/qz/2/10000"),
    turns("contended/std/8/10000", "contended/qz/8/10000"),
    wait("contended/std/8/10000", "contended/qz/8/10000"),
    turns("contended/std/32/10000", "contended/qz/32/10000"),
    wait("contended/std/32/10000", "contended/qz/32/10000"),
    turns("guest/std/300", "guest/qz/300"),
    wait("guest/std/300", "guest/qz/300"),
    turns("guest/std/100000", "guest/qz/100000"),
    wait("guest/std/100000", "guest/qz/100000"),
};

} // namespace

int main(int argc, char** argv) {
    registerLock<Sync::Futex>("qz");
    registerLock<std::mutex>("std");
    return bench::run(argc, argv, kGoals);
}
