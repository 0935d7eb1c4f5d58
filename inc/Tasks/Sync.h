/* A lock and a counter for classes. C++ only. */
#ifndef QZCORE_TASKS_SYNC_H
#define QZCORE_TASKS_SYNC_H

#include "Core/Export.h"

#include <atomic>
#include <stdint.h>

namespace Sync {

/* A lock that its owner may lock again; each lock wants its unlock by the same thread. Meant for
 * what takes little time: taking it when it is free costs one atomic operation, giving it up none.
 * Threads that wait for it spin first and then sleep; they get it in no particular order. */
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

    /* Waits as long as lock() and returns true: the time-out is ignored, deliberately, and callers
     * rely on it as a lock with this signature. */
    bool try_lock(unsigned int timeout);

private:
    struct Section;
    Section* section_;
};

/* A counter of 32 bits that any thread may change at any time. Both operators return the new value
 * and are full memory barriers. */
class Counter {
public:
    Counter() = default;
    explicit Counter(int32_t value) : value_(value) {}

    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    int32_t operator++() { return value_.fetch_add(1) + 1; }
    int32_t operator--() { return value_.fetch_sub(1) - 1; }

    int32_t get() const { return value_.load(); }

private:
    std::atomic<int32_t> value_{0};
};

} // namespace Sync

#endif
