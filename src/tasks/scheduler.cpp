// Compiled without the thread sanitizer, which does not see the synchronisation inside oneTBB and
// would report a race for each task.
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

namespace {

constexpr auto kLimit = tbb::global_control::max_allowed_parallelism;

std::size_t neededLimit() {
    return Scheduler::workerCount() + std::size_t{1};
}

bool hostAllowsEnough() {
    const tbb::global_control ours(kLimit, neededLimit()); // without any, the processors count
    return tbb::global_control::active_value(kLimit) >= neededLimit();
}

} // namespace

struct Scheduler::Arena {
    // The limit also counts one thread that is not a worker. The lowest limit of all holds, so this
    // one is not below the host's.
    tbb::global_control control{kLimit,
                                std::max(neededLimit(), tbb::global_control::active_value(kLimit))};
    tbb::task_scheduler_handle handle{tbb::attach{}};
    tbb::task_arena arena{static_cast<int>(workerCount()), 0};
    WorkerObserver observer{arena};
};

namespace {

struct Processors {
    unsigned count;
    bool areKnown; // whether oneTBB could count them
};

// If oneTBB has no memory to count the processors, a later use of it waits for the count for ever.
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

// Keeps each worker busy until all are started. Never destroyed: a worker may reach it late.
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
        if (!hostAllowsEnough()) {
            hasFailed_ = true;
            return;
        }
        arena_ = std::make_unique<Arena>();
        start();
    } catch (...) {
        hasFailed_ = true;
    }
}

// Starts each worker by an arena of its own, because an arena asks for as many workers as it has
// room for.
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

// The control goes last: without it, oneTBB may have no worker left for its remaining work, and
// wait for ever. It would also wait for a worker that could not start, so after a failure the arena
// stays.
Scheduler::~Scheduler() {
    if (hasFailed_) {
        static_cast<void>(arena_.release());
        return;
    }
    arena_->arena.terminate();
    tbb::finalize(arena_->handle, std::nothrow);
}

} // namespace tasks
