/* A lock, a counter and a thread for classes. C++ only, for programs built by the library's
 * compiler. */
#ifndef QZCORE_TASKS_SYNC_H
#define QZCORE_TASKS_SYNC_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <atomic>
#include <stdint.h>

namespace Sync {

/* A lock that its owner may lock again. A thread that has locked it several times must unlock it as
 * many times. Meant for what takes little time: taking it when it is free costs one atomic
 * operation, giving it up none. Threads that wait for it spin for a microsecond or two and then
 * sleep, which takes no processor time. They get it in no particular order, but an owner that gives
 * it up hands it to the thread that has slept longest, if a millisecond has passed since that
 * happened last. So nobody waits for ever as long as every owner gives it up.
 *
 * Many locks share a line of sleeping threads. While threads sleep for some of them, giving up
 * another takes a few nanoseconds longer for each of these locks, however many threads sleep.
 *
 * A thread that is cancelled (pthread_cancel) while it waits gets the lock first. A child of fork()
 * must not use a lock for which other threads waited, even if its thread is the owner: the lock may
 * be handed to a thread that the child does not have. When a Windows process ends, the system kills
 * all threads but one; that one gets the lock whoever had it. */
class QZ_API Futex {
public:
    /* If there is no memory for it, it locks nothing. */
    Futex();

    /* Nobody may hold it or wait for it. */
    ~Futex();

    Futex(const Futex&) = delete;
    Futex& operator=(const Futex&) = delete;

    void lock();
    void unlock();

    /* The same as lock(), and returns true: the time-out is ignored. For code that is written for
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

private:
    std::atomic<uint32_t> value_{0}; /* unsigned: overflow is defined */
};

/* A thread that runs a task again and again until the task has had enough or is told to stop.
 *
 * Threads: one owner, other than the thread itself, calls the functions. */
class QZ_API Thread {
public:
    class Task {
    public:
        /* One pass of work. `again` is false on a thread's first pass and true on all later ones.
         * Returns whether there is to be another pass. It must not throw. */
        virtual bool run(bool again) = 0;

        virtual ~Task() = default;
    };

    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /* Waits, without limit, until the task ends by itself. Nothing tells it to stop. */
    ~Thread();

    /* Starts a thread for the task, which must live until the thread has been waited for. Does
     * nothing if there is a thread already, or if the system has none to give: see isRunning. */
    void start(Task* task);

    /* Lets the pass that is running be the last one, and waits for it, without limit. */
    void stop();

    /* Waits until the task ends, for that many milliseconds at most; without limit for a negative
     * number. Returns whether the thread has gone; true if there was none. */
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
