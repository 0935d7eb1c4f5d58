// oneTBB's worker threads: an arena with room for all of them, and none reserved for the threads
// that enqueue work.
#pragma once

#include "tasks/job.h"

#include <atomic>
#include <memory>

namespace tasks {

// If oneTBB cannot start a thread, it loses that worker, and often the job, for good; and if the
// failure happens on one of its own threads, which wakes others, it ends the process. So the caller
// starts all workers here, one by one, and after the first failure oneTBB is given no more work.
class Scheduler {
public:
    // The number of processors, but at least two: one worker could never run a task that the task
    // on it waits for.
    static unsigned workerCount();

    Scheduler();

    // Nothing may be enqueued or running. Waits until the workers have ended, unless another living
    // thread has enqueued jobs or uses oneTBB otherwise, and so keeps them. Not to be called by a
    // worker.
    ~Scheduler();

    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // Has job(argument) called on a worker. The job must not throw. False from the first failure
    // on: that job, and those enqueued before that have not begun, may then be called or not.
    bool enqueue(Job job, void* argument);

private:
    struct Arena;

    void start();

    std::unique_ptr<Arena> arena_;
    std::atomic<bool> hasFailed_;
};

} // namespace tasks
