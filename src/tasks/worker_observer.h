// Prepares oneTBB's worker threads when they enter the arena.
#pragma once

#include "platform/fault_stack.h"
#include "platform/thread.h"
#include "tasks/job.h"

#include <oneapi/tbb/task_scheduler_observer.h>

namespace tasks {

// Names each worker, and has an overflow of its stack reported as on the library's other threads.
// Both last until the worker ends.
class WorkerObserver final : public tbb::task_scheduler_observer {
public:
    explicit WorkerObserver(tbb::task_arena& arena) : task_scheduler_observer(arena) {
        observe(true);
    }
    ~WorkerObserver() override { observe(false); }
    WorkerObserver(const WorkerObserver&) = delete;
    WorkerObserver& operator=(const WorkerObserver&) = delete;

    void on_scheduler_entry(bool) override {
        platform::nameThread(kWorkerName);
        platform::keepStackForFaults();
    }
};

} // namespace tasks
