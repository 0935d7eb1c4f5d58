// oneTBB's worker threads: an arena that has room for all of them and keeps no place for the
// threads that hand it work.
#pragma once

#include "tasks/job.h"

#include <atomic>
#include <memory>

namespace tasks {

// A thread that cannot be started costs oneTBB that worker, and often the job, for good; and where
// one of its own threads wakes others, it ends the process. So all workers are started here, one by
// one and by the caller, and after the first failure oneTBB is given no more work.
class Scheduler {
public:
    // As many as there are processors, but two at least: on a single processor, too, somebody has
    // to run the task that another one waits for.
    static unsigned workerCount();

    Scheduler();

    // Nothing may be enqueued or running. Waits until the workers have ended, unless somebody else
    // in the process uses oneTBB and keeps them; not for one of them.
    ~Scheduler();

    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // Has job(argument) called on a worker. It must not throw. False from the first failure on: of
    // that job, and of those that were enqueued before and have not begun, nobody knows then
    // whether they will be called.
    bool enqueue(Job job, void* argument);

private:
    struct Arena;

    void start();

    std::unique_ptr<Arena> arena_;
    std::atomic<bool> hasFailed_;
};

} // namespace tasks
