// Tasks and serial queues, compared with others. In each round one thread adds a number of tiny
// tasks and waits until the last one is done. To run on one processor: taskset -c 0.
#include "Tasks/TaskManager.h"

#include "countdown.h"
#include "goals.h"

#include <benchmark/benchmark.h>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <cstddef>
#include <deque>
#include <future>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kTasks = 1 << 16;
constexpr std::size_t kThreads = 1 << 8; // tasks for std::async, which starts a thread for each

using bench::Countdown;
using bench::Stage;
using bench::workers;

// --- Independent tasks.

class QzTasks {
public:
    void add(Countdown& round) {
        QZ_add_task(&round, [](void* given) { static_cast<Countdown*>(given)->done(); });
    }
};

class TbbArena {
public:
    void add(Countdown& round) {
        arena_.enqueue([&round] { round.done(); });
    }

private:
    // As many workers as the peers have.
    tbb::global_control control_{tbb::global_control::max_allowed_parallelism, workers() + 1};
    tbb::task_arena arena_{static_cast<int>(workers()), 0};
};

class AsioPool {
public:
    void add(Countdown& round) {
        boost::asio::post(pool_, [&round] { round.done(); });
    }

private:
    boost::asio::thread_pool pool_{workers()};
};

class StdAsync {
public:
    void add(Countdown& round) {
        futures_.push_back(std::async(std::launch::async, [&round] { round.done(); }));
    }

private:
    std::vector<std::future<void>> futures_;
};

template<class Pool>
void tasks(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    Pool pool;
    for (auto _ : state) {
        Countdown round(count);
        for (std::size_t i = 0; i < count; ++i) {
            pool.add(round);
        }
        round.wait();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// --- Serial queues.

class QzQueue {
public:
    explicit QzQueue(std::size_t number)
        : index_(QZ_create_serial_queue(std::to_string(number).c_str())) {}

    void add(Stage& stage) {
        QZ_add_serial_queue_task(index_, &stage,
                                 [](void* given) { static_cast<Stage*>(given)->done(); });
    }

private:
    std::size_t index_;
};

class AsioStrand {
public:
    explicit AsioStrand(boost::asio::thread_pool& pool) : strand_(pool.get_executor()) {}

    void add(Stage& stage) {
        boost::asio::post(strand_, [&stage] { stage.done(); });
    }

private:
    boost::asio::strand<boost::asio::thread_pool::executor_type> strand_;
};

template<class Queue, class AddQueues>
void serialRounds(benchmark::State& state, AddQueues addQueues) {
    const auto queueCount = static_cast<std::size_t>(state.range(0));
    std::deque<Queue> queues;
    addQueues(queues, queueCount);
    for (auto _ : state) {
        Countdown round(queueCount);
        std::vector<Stage> stages(queueCount, Stage{kTasks / queueCount, &round});
        for (std::size_t i = 0; i < kTasks; ++i) {
            queues[i % queueCount].add(stages[i % queueCount]);
        }
        round.wait();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kTasks));
}

void qzSerial(benchmark::State& state) {
    serialRounds<QzQueue>(state, [](std::deque<QzQueue>& queues, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            queues.emplace_back(i);
        }
    });
}

void asioStrand(benchmark::State& state) {
    boost::asio::thread_pool pool(workers());
    serialRounds<AsioStrand>(state, [&](std::deque<AsioStrand>& queues, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            queues.emplace_back(pool);
        }
    });
}

BENCHMARK(tasks<QzTasks>)->Name("qz_task")->Arg(kTasks)->Arg(kThreads)->UseRealTime();
BENCHMARK(tasks<TbbArena>)->Name("tbb_enqueue")->Arg(kTasks)->UseRealTime();
BENCHMARK(tasks<AsioPool>)->Name("asio_post")->Arg(kTasks)->UseRealTime();
BENCHMARK(tasks<StdAsync>)->Name("std_async")->Arg(kThreads)->UseRealTime();
BENCHMARK(qzSerial)->Name("qz_serial")->Arg(1)->Arg(16)->UseRealTime();
BENCHMARK(asioStrand)->Name("asio_strand")->Arg(1)->Arg(16)->UseRealTime();

constexpr bench::Goal kGoals[] = {
    bench::atMost(0.6, "tbb_enqueue/65536", "qz_task/65536"),
    bench::atMost(1.0, "asio_post/65536", "qz_task/65536"),
    bench::atMost(1.0, "std_async/256", "qz_task/256"),
    bench::atMost(0.15, "asio_strand/1", "qz_serial/1"),
    bench::atMost(0.25, "asio_strand/16", "qz_serial/16"),
};

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}
