// The pool that runs tasks: one queue, and worker threads that drain it.
#pragma once

#include "tasks/census.h"
#include "tasks/scheduler.h"
#include "tasks/spare_threads.h"
#include "tasks/task_ring.h"

#include <oneapi/tbb/spin_mutex.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>

namespace tasks {

// Handing each task to the scheduler by itself would cost more than most tasks do. So tasks wait in
// a queue here, and the scheduler is given drainers: jobs that run one task after another. A
// drainer that finds the queue empty looks around for a while before it leaves, so that under load
// nobody has to be woken.
//
// As long as a task waits, a drainer is on the look-out for one, or every worker has a drainer: so
// a task that blocks never keeps another one waiting while there is a worker left. Whoever makes
// the queue non-empty, and whichever drainer turns from looking to running, sees to that.
//
// A drainer is counted before somebody is asked to run it. All are alike: whoever comes to drain
// takes the place of any that is waited for. So if asking fails, and nobody knows whether oneTBB
// will call all the same, one that is waited for is taken off the count, and one too many does no
// harm.
class Workers {
public:
    // Stopped from the start if there is to be nothing to run on.
    explicit Workers(bool isStopped);

    // False if there is no memory for it.
    bool add(Task task);

    // Keeps room for one more task that waits at a time, which addReserved then adds without fail.
    bool reserve();
    void addReserved(Task task);

    // If tasks wait because no thread could be started, tries again.
    void retry();

    // The same for a thread that waits for tasks: without any other thread it runs them itself.
    void help();

    // Discards what waits and lets nothing begin any more; then waits for the tasks that run, the
    // caller's own excepted. False if one is still running when the time is over.
    bool stop(std::chrono::milliseconds limit);

    // After stop(): gives the scheduler back. Not for a task.
    bool close(std::chrono::milliseconds limit);

    bool isStopped() const { return isStopped_.load(std::memory_order_acquire); }

    // Without the tasks of the main thread.
    Census census();

    // Whether the calling thread is in the middle of a task.
    static bool isCalledByTask();

private:
    enum class Activity { looking, running };
    using Lock = tbb::spin_mutex::scoped_lock;

    enum class Room { any, reserved };

    bool push(Task task, Room room);

    static void drain(void* self);

    void drain();
    bool enter();
    bool drainForATurn();
    bool next(Task& task, Activity& activity);
    bool take(Task& task, Activity& activity);
    bool stayToLook(Activity& activity);
    void lookAround() const;
    bool goBehindOthers();

    bool countDrainerIfNeeded();
    void countAsAwaited();
    bool callDrainer();
    void callSpareDrainers();
    void giveDrainerUp();

    bool tasksHaveEnded();
    bool drainersHaveEnded();

    const unsigned mostDrainers_ = Scheduler::workerCount();
    std::optional<Scheduler> scheduler_;
    SpareThreads spareThreads_{drain, this};
    std::atomic<bool> isStopped_; // changed under the lock

    alignas(64) tbb::spin_mutex mutex_; // of all below
    TaskRing tasks_;
    std::size_t reserved_ = 0;
    unsigned drainers_ = 0; // awaited_ and inside_ together
    unsigned looking_ = 0;  // those of drainers_ that look for tasks; awaited ones count
    unsigned awaited_ = 0;  // drainers that were asked for and are not yet on a thread
    unsigned inside_ = 0;   // drainers on a thread
    unsigned calling_ = 0;  // callers who are asking for a drainer just now
    bool isClosed_ = false;
    bool isShortage_ = false;           // not one thread is to be had, which was reported
    std::atomic<bool> hasTasks_{false}; // for those who look without the lock
};

} // namespace tasks
