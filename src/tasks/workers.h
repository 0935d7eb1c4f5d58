// The pool that runs tasks: one queue, and worker threads that drain it.
#pragma once

#include "tasks/scheduler.h"
#include "tasks/task.h"

#include <oneapi/tbb/spin_mutex.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>

namespace tasks {

// Handing each task to the scheduler by itself would cost more than most tasks do. So tasks wait in
// a queue here, and the scheduler is given drainers: jobs that run one task after another. A
// drainer that finds the queue empty looks around for a while before it leaves, so that under load
// nobody has to be woken.
//
// As long as a task waits, a drainer is on the look-out for one, or every worker has a drainer: so
// a task that blocks never keeps another one waiting while there is a worker left. Whoever makes
// the queue non-empty, and whichever drainer turns from looking to running, sees to that.
class Workers {
public:
    // Stopped from the start if there is to be nothing to run on.
    explicit Workers(bool isStopped);

    void add(Task task);

    // Discards what waits and lets nothing begin any more; then waits for the tasks that run, the
    // caller's own excepted. False if one is still running when the time is over.
    bool stop(std::chrono::milliseconds limit);

    // After stop(): gives the scheduler back. Not for a task.
    bool close(std::chrono::milliseconds limit);

    bool isStopped() const { return isStopped_.load(std::memory_order_acquire); }

    // Whether the calling thread is in the middle of a task.
    static bool isCalledByTask();

private:
    enum class Activity { looking, running };
    using Lock = tbb::spin_mutex::scoped_lock;

    static void drain(void* self);

    void drain();
    bool next(Task& task, Activity& activity);
    bool take(Task& task, Activity& activity);
    bool stayToLook(Activity& activity);
    void lookAround() const;
    void goBehindOthers();

    bool countDrainerIfNeeded();
    void enqueueDrainer();

    bool tasksHaveEnded();
    bool drainersHaveEnded();

    const unsigned mostDrainers_ = Scheduler::workerCount();
    std::unique_ptr<Scheduler> scheduler_;
    std::atomic<bool> isStopped_; // changed under the lock

    alignas(64) tbb::spin_mutex mutex_; // of all below
    std::deque<Task> tasks_;
    unsigned drainers_ = 0;             // with those that still wait for a worker
    unsigned looking_ = 0;              // of these, likewise with those
    unsigned inside_ = 0;               // on a worker
    unsigned enqueuing_ = 0;            // calls of the scheduler
    std::atomic<bool> hasTasks_{false}; // for those who look without the lock
};

} // namespace tasks
