// What oneTBB's worker threads get when they come to work.
#pragma once

#include "platform/fault_stack.h"
#include "platform/thread.h"
#include "tasks/job.h"

#include <oneapi/tbb/task_scheduler_observer.h>

namespace tasks {

// A name, and that the overflow of its stack leaves a report, as that of any other thread of the
// library's. A worker keeps what it was given until it ends.
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
