// What oneTBB's worker threads get when they come to work.
#pragma once

#include "platform/fault_stack.h"

#include <oneapi/tbb/task_scheduler_observer.h>

namespace tasks {

// The overflow of a worker's stack is to leave a report, as that of any other thread of the
// library's. A worker keeps what it was given until it ends.
class WorkerObserver final : public tbb::task_scheduler_observer {
public:
    explicit WorkerObserver(tbb::task_arena& arena) : task_scheduler_observer(arena) {
        observe(true);
    }
    ~WorkerObserver() override { observe(false); }
    WorkerObserver(const WorkerObserver&) = delete;
    WorkerObserver& operator=(const WorkerObserver&) = delete;

    void on_scheduler_entry(bool) override { platform::keepStackForFaults(); }
};

} // namespace tasks
