// Compiled without the thread sanitizer, which sees nothing of what happens inside oneTBB and would
// take each task that goes through it for a race.
#include "tasks/scheduler.h"

#include "tasks/worker_observer.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <new>

namespace tasks {

struct Scheduler::Arena {
    // Parallelism counts one thread that is no worker.
    tbb::global_control control{tbb::global_control::max_allowed_parallelism, workerCount() + 1};
    tbb::task_scheduler_handle handle{tbb::attach{}};
    tbb::task_arena arena{static_cast<int>(workerCount()), 0};
    WorkerObserver observer{arena};
};

unsigned Scheduler::workerCount() {
    return std::max(2U, static_cast<unsigned>(tbb::info::default_concurrency()));
}

Scheduler::Scheduler() : arena_(new Arena) {
    arena_->arena.initialize();
}

void Scheduler::enqueue(Job job, void* argument) {
    arena_->arena.enqueue([job, argument]() noexcept { job(argument); });
}

// In this order: without the control there may be no worker left for what oneTBB still has to do,
// and it would wait for ever.
Scheduler::~Scheduler() {
    arena_->arena.terminate();
    tbb::finalize(arena_->handle, std::nothrow);
}

} // namespace tasks
