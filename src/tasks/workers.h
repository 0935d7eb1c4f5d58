// The pool that runs tasks: one queue, and worker threads that drain it.
#pragma once

#include "core/invariant.h"
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

// Enqueuing each task on the scheduler would cost more than most tasks do. So tasks wait in a queue
// here, and the scheduler is given drainers: jobs that run one task after another. A drainer
// that finds the queue empty looks for tasks a while longer before it leaves, so under load no
// thread has to be woken.
//
// As long as a task waits, a drainer is looking for one, or every worker has a drainer. So a task
// that blocks never keeps another one waiting while there is a worker left. Whoever makes the queue
// non-empty ensures that, and so does a drainer that turns from looking to running.
//
// A drainer is counted as awaited before the scheduler is asked to run it. Drainers are alike: one
// that begins takes the place of any awaited one. If the request fails, oneTBB may still run the
// drainer or not. So an awaited one is taken off the count, and a drainer too many does no harm.
class Workers {
public:
    // `isStopped`: makes a pool that is stopped from the start and has no threads.
    explicit Workers(bool isStopped);

    // False if there is no memory for it.
    bool add(Task task);

    // Keeps room for one more waiting task, so that addReserved cannot fail. False if there is no
    // memory for it.
    bool reserve();
    void addReserved(Task task);

    // Takes out a task that waits, so that the caller can run it. False if it does not wait.
    bool remove(Task task);

    // If tasks wait because no thread could be started, tries again.
    void retry();

    // The same for a thread that waits for tasks: it runs them itself if no thread can be started.
    void help();

    // Discards waiting tasks and lets none begin any more; then waits for the tasks that are
    // running, except the caller's own. False if one is still running at the end of `limit`.
    bool stop(std::chrono::milliseconds limit);

    // Ends the scheduler. Only after stop(), and not to be called by a task. False if a drainer is
    // still running, or another call is still ending the scheduler, at the end of `limit`.
    bool close(std::chrono::milliseconds limit);

    bool isStopped() const { return isStopped_.load(std::memory_order_acquire); }

    // Does not count the main thread's tasks.
    Census census();

    // Whether the calling thread is running a task.
    static bool isCalledByTask();

private:
    enum class Activity { looking, running };

    using Lock = core::CheckedLock<tbb::spin_mutex::scoped_lock, Workers>;
    friend Lock;

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

    void check() const; // with the lock held

    const unsigned mostDrainers_ = Scheduler::workerCount();
    std::optional<Scheduler> scheduler_;
    SpareThreads spareThreads_{drain, this};
    std::atomic<bool> isStopped_; // changed under the lock

    alignas(64) tbb::spin_mutex mutex_; // guards all members below
    TaskRing tasks_;
    std::size_t reserved_ = 0;
    unsigned drainers_ = 0; // awaited_ + inside_
    unsigned looking_ = 0;  // drainers that look for tasks, awaited ones included
    unsigned awaited_ = 0;  // drainers that were requested and have not begun
    unsigned inside_ = 0;   // drainers that run on a thread
    unsigned calling_ = 0;  // threads that are requesting a drainer now
    bool isClosed_ = false;
    bool isShortage_ = false;           // no thread could be started; it has been reported
    std::atomic<bool> hasTasks_{false}; // may be read without the lock
    std::atomic<bool> schedulerHasEnded_{false};
};

} // namespace tasks
