// Compiled without the thread sanitizer, which sees nothing of what happens inside oneTBB and would
// take each task that goes through it for a race.
#include "tasks/scheduler.h"

#include "platform/thread.h"
#include "tasks/worker_observer.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <new>
#include <thread>

namespace tasks {

struct Scheduler::Arena {
    // Parallelism counts one thread that is no worker.
    tbb::global_control control{tbb::global_control::max_allowed_parallelism, workerCount() + 1};
    tbb::task_scheduler_handle handle{tbb::attach{}};
    tbb::task_arena arena{static_cast<int>(workerCount()), 0};
    WorkerObserver observer{arena};
};

namespace {

struct Processors {
    unsigned count;
    bool areKnown; // to oneTBB
};

// oneTBB that had no memory to count them waits for ever for the count when it is used again.
Processors countProcessors() {
    try {
        return {static_cast<unsigned>(tbb::info::default_concurrency()), true};
    } catch (...) {
        return {std::thread::hardware_concurrency(), false};
    }
}

const Processors& processors() {
    static const Processors counted = countProcessors();
    return counted;
}

// Keeps a worker that was started busy until all are. Never destroyed: a worker may be late.
platform::Semaphore gate;

void startWorker() {
    tbb::task_arena arena(1, 0);
    arena.enqueue([]() noexcept { gate.wait(); });
}

} // namespace

unsigned Scheduler::workerCount() {
    return std::max(2U, processors().count);
}

Scheduler::Scheduler() : hasFailed_(!processors().areKnown) {
    if (hasFailed_) {
        return;
    }
    try {
        arena_ = std::make_unique<Arena>();
        start();
    } catch (...) {
        hasFailed_ = true;
    }
}

// Each in an arena of its own, because an arena asks for as many as it has room for.
void Scheduler::start() {
    arena_->arena.initialize();
    gate.create(0);
    const auto open = [](void*) {
        for (unsigned i = 0; i < workerCount(); ++i) {
            gate.signal();
        }
    };
    const std::unique_ptr<void, decltype(open)> opener(this, open);
    for (unsigned i = 0; i < workerCount(); ++i) {
        startWorker();
    }
}

bool Scheduler::enqueue(Job job, void* argument) {
    if (hasFailed_) {
        return false;
    }
    try {
        arena_->arena.enqueue([job, argument]() noexcept { job(argument); });
        return true;
    } catch (...) {
        hasFailed_ = true;
        return false;
    }
}

// In this order: without the control there may be no worker left for what oneTBB still has to do,
// and it would wait for ever. That it also does when a worker is missing, so then all of it stays.
Scheduler::~Scheduler() {
    if (hasFailed_) {
        static_cast<void>(arena_.release());
        return;
    }
    arena_->arena.terminate();
    tbb::finalize(arena_->handle, std::nothrow);
}

} // namespace tasks
