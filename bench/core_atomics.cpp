// The lock-free containers, compared with others.
#include "Core/Atomics.h"

#include <benchmark/benchmark.h>
#include <boost/lockfree/queue.hpp>
#include <boost/lockfree/stack.hpp>
#include <concurrentqueue/concurrentqueue.h>
#include <tbb/concurrent_queue.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <latch>
#include <thread>
#include <vector>

namespace {

// The element that is handed over: an object with its own cache line. Intrusive containers link it,
// others point to it.
struct alignas(64) Element {
    void* link = nullptr;
    class Supply* owner = nullptr;
    std::uint64_t payload = 0;
};

constexpr std::size_t kElements = 4096; // of each producer, in the queue at the same time

// --- Gather: many producers, one consumer.

class QzGather {
public:
    QzGather() { QZ_atomic_gather_init(&queue_); }

    void push(Element* element) { QZ_atomic_gather_push(&queue_, element); }
    Element* pop() { return static_cast<Element*>(QZ_atomic_gather_pop(&queue_)); }

private:
    alignas(64) QZ_atomic_gather queue_{};
};

class Moodycamel {
public:
    void push(Element* element) { queue_.enqueue(element); }

    Element* pop() {
        Element* element = nullptr;
        return queue_.try_dequeue(element) ? element : nullptr;
    }

private:
    moodycamel::ConcurrentQueue<Element*> queue_;
};

class TbbQueue {
public:
    void push(Element* element) { queue_.push(element); }

    Element* pop() {
        Element* element = nullptr;
        return queue_.try_pop(element) ? element : nullptr;
    }

private:
    tbb::concurrent_queue<Element*> queue_;
};

class BoostQueue {
public:
    void push(Element* element) { queue_.push(element); }

    Element* pop() {
        Element* element = nullptr;
        return queue_.pop(element) ? element : nullptr;
    }

private:
    boost::lockfree::queue<Element*> queue_{2 * kElements};
};

// A producer's elements, which are used again after the consumer has taken them.
class Supply {
public:
    Supply() : elements_(kElements) {
        for (Element& element : elements_) {
            element.owner = this;
        }
    }

    // Checks how many elements the consumer has taken once for each kStep elements.
    Element* next() {
        if (given_ % kStep == 0) {
            while (given_ + kStep - taken_.load(std::memory_order_acquire) > kElements) {
                std::this_thread::yield();
            }
        }
        Element& element = elements_[given_ % kElements];
        element.payload = given_++;
        return &element;
    }

    void take(const Element& element) {
        sum_ += element.payload;
        if (++takenHere_ % kStep == 0) {
            taken_.store(takenHere_, std::memory_order_release);
        }
    }

    std::uint64_t sum() const { return sum_; }

private:
    static constexpr std::uint64_t kStep = 256;

    std::vector<Element> elements_;
    std::uint64_t given_ = 0;
    alignas(64) std::uint64_t takenHere_ = 0;
    std::uint64_t sum_ = 0;
    alignas(64) std::atomic<std::uint64_t> taken_{0};
};

template<class Queue>
void produce(Queue& queue, Supply& supply, std::uint64_t count, std::latch& start) {
    start.arrive_and_wait();
    for (; count > 0; --count) {
        queue.push(supply.next());
    }
}

template<class Queue>
void consume(Queue& queue, std::uint64_t count) {
    for (std::uint64_t empty = 0; count > 0;) {
        if (const Element* element = queue.pop()) {
            element->owner->take(*element);
            empty = 0;
            --count;
        } else if (++empty % 1024 == 0) {
            std::this_thread::yield();
        }
    }
}

template<class Queue>
void gather(benchmark::State& state) {
    constexpr std::uint64_t kCount = 1 << 20; // elements a round, of all producers
    using Clock = std::chrono::steady_clock;
    const auto producers = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        Queue queue;
        std::deque<Supply> supplies;
        std::latch start(static_cast<std::ptrdiff_t>(producers) + 1);
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < producers; ++i) {
            Supply& supply = supplies.emplace_back();
            threads.emplace_back([&] { produce(queue, supply, kCount / producers, start); });
        }
        start.arrive_and_wait();
        const auto before = Clock::now();
        consume(queue, kCount);
        const std::chrono::duration<double> seconds = Clock::now() - before;
        state.SetIterationTime(seconds.count());
        state.counters["ns"] = seconds.count() * 1e9 / kCount;
        const std::uint64_t each = kCount / producers;
        if (!std::all_of(supplies.begin(), supplies.end(), [&](const Supply& supply) {
                return supply.sum() == each * (each - 1) / 2;
            })) {
            state.SkipWithError("elements went missing");
            break;
        }
    }
}

void oneRound(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("producers")->Arg(1)->Arg(2)->Iterations(1)->UseManualTime();
}

BENCHMARK(gather<QzGather>)->Name("gather/qz")->Apply(oneRound);
BENCHMARK(gather<Moodycamel>)->Name("gather/moodycamel")->Apply(oneRound);
BENCHMARK(gather<TbbQueue>)->Name("gather/tbb")->Apply(oneRound);
BENCHMARK(gather<BoostQueue>)->Name("gather/boost")->Apply(oneRound);

// --- Stack: a free list; each thread takes an element and gives it back.

class QzStack {
public:
    QzStack() { QZ_atomic_stack_init(&stack_); }

    void push(Element* element) { QZ_atomic_stack_push(&stack_, element); }
    Element* pop() { return static_cast<Element*>(QZ_atomic_stack_pop(&stack_)); }

private:
    alignas(64) QZ_atomic_stack stack_{};
};

class BoostStack {
public:
    void push(Element* element) { stack_.push(element); }

    Element* pop() {
        Element* element = nullptr;
        return stack_.pop(element) ? element : nullptr;
    }

private:
    boost::lockfree::stack<Element*> stack_{kElements};
};

template<class Stack>
struct FreeList {
    Stack stack;
    std::array<Element, 64> elements;

    FreeList() {
        for (Element& element : elements) {
            stack.push(&element);
        }
    }

    void popAndPush() {
        Element* element = stack.pop();
        ++element->payload;
        stack.push(element);
    }
};

// The least work of a pop and a push.
struct TwoSwaps {
    alignas(64) std::atomic<std::uint64_t> word{0};

    void popAndPush() {
        add(1);
        add(-std::uint64_t{1});
    }

    void add(std::uint64_t difference) {
        std::uint64_t seen = word.load(std::memory_order_relaxed);
        while (!word.compare_exchange_weak(seen, seen + difference)) {
        }
    }
};

template<class Pair>
void stack(benchmark::State& state) {
    static Pair pair; // one for all threads
    for (auto _ : state) {
        pair.popAndPush();
    }
}

void oneAndTwoThreads(benchmark::internal::Benchmark* benchmark) {
    benchmark->Threads(1)->Threads(2)->UseRealTime()->MinTime(0.1);
}

BENCHMARK(stack<FreeList<QzStack>>)->Name("stack/qz")->Apply(oneAndTwoThreads);
BENCHMARK(stack<FreeList<BoostStack>>)->Name("stack/boost")->Apply(oneAndTwoThreads);
BENCHMARK(stack<TwoSwaps>)->Name("stack/two_cas")->Apply(oneAndTwoThreads);

} // namespace
