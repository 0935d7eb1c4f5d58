/* A lock, a counter and a thread as classes. C++ only, for programs built by the library's
 * compiler. */
#ifndef QZCORE_TASKS_SYNC_H
#define QZCORE_TASKS_SYNC_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <atomic>
#include <stdint.h>

namespace Sync {

/* A recursive lock: a thread that has locked it several times must unlock it as many times. It is
 * meant for short sections: locking it when it is free takes one atomic operation, and unlocking
 * takes none. Threads that wait spin for some ten microseconds and then sleep, which takes no
 * processor time. They get the lock in no particular order; but if a millisecond has passed since
 * it was last handed over, unlocking hands it to the thread that has slept longest. So no thread
 * waits for ever if every owner unlocks it.
 *
 * Locks share queues of sleeping threads. For each other lock with threads in the same queue,
 * unlocking takes a few nanoseconds longer, however many threads sleep.
 *
 * Signal handlers must not use locks: if a thread already waits for a lock, a handler on that
 * thread that waits for the same lock may block both for ever.
 *
 * A thread that is cancelled (pthread_cancel) while it waits gets the lock before it ends. A child
 * of fork() must not use a lock for which other threads waited, even if its thread is the owner,
 * because the lock may be handed to a thread that the child does not have. When a Windows process
 * ends, the system kills all threads but one; that one gets the lock even if another thread held
 * it. */
class QZ_API Futex {
public:
    /* If there is no memory, the lock locks nothing. */
    Futex();

    /* No thread may hold the lock or wait for it. */
    ~Futex();

    Futex(const Futex&) = delete;
    Futex& operator=(const Futex&) = delete;

    void lock();
    void unlock();

    /* Calls lock() and returns true: the time-out is ignored. It is for code that is written for
     * locks with this signature. */
    bool try_lock(unsigned int timeout);

private:
    struct Section;
    Section* section_;
};

/* A counter of 32 bits that any thread may change at any time. Both operators return the new value
 * and are full memory barriers. The value wraps around. */
class Counter {
public:
    Counter() = default;
    explicit Counter(int32_t value) : value_(static_cast<uint32_t>(value)) {}

    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    int32_t operator++() { return static_cast<int32_t>(++value_); }
    int32_t operator--() { return static_cast<int32_t>(--value_); }

    int32_t get() const { return static_cast<int32_t>(value_.load()); }

    /* Cheaper than the operators, and no barrier: for a thread that alone has the counter. */
    void set(int32_t value) {
        value_.store(static_cast<uint32_t>(value), std::memory_order_relaxed);
    }

private:
    std::atomic<uint32_t> value_{0}; /* unsigned: overflow is defined */
};

/* A thread that runs a task again and again until the task or stop() ends it.
 *
 * Threads: one owner, other than the thread itself, calls the functions. */
class QZ_API Thread {
public:
    class Task {
    public:
        /* Does one pass of work and returns whether another pass is to follow. `again` is false on
         * a thread's first pass and true on all later ones. It must not throw. */
        virtual bool run(bool again) = 0;

        virtual ~Task() = default;
    };

    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /* Waits, without limit, until the task ends by itself; call stop before to end it. */
    ~Thread();

    /* Starts a thread for the task, which must exist until stop or wait has collected the thread.
     * Does nothing if there is a thread already, if task is null, or if the system cannot start a
     * thread: see isRunning. */
    void start(Task* task);

    /* Ends the task after the current pass, and waits for it, without limit. */
    void stop();

    /* Waits until the task ends, for at most that many milliseconds; a negative number means
     * without limit. Returns whether the thread has ended; true if there was none. */
    bool wait(int milliseconds);

    /* True from start to the stop or wait that collects the thread, even if the task has ended. */
    bool isRunning() const { return thread_ != nullptr; }

private:
    struct Worker;

    QZ_LOCAL void work();
    QZ_LOCAL void collect();

    Task* task_ = nullptr;
    Worker* thread_ = nullptr;
    std::atomic<uint32_t> running_{0};
};

} // namespace Sync

#endif
