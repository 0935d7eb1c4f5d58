// Where threads that wait for a lock sleep.
#pragma once

#include "core/spin.h"

#include <atomic>
#include <cstdint>

namespace tasks {

// Which thread owns a lock.
struct Ownership {
    std::atomic<std::uintptr_t> thread{0}; // 0: nobody
    std::int64_t nextHandover = 0;         // by platform::counterValue; for the wait line only

    bool take(std::uintptr_t self) {
        std::uintptr_t nobody = 0;
        return thread.compare_exchange_strong(nobody, self, std::memory_order_acquire,
                                              std::memory_order_relaxed);
    }

    // True if the thread owns the lock now: it was free, or has been handed to the thread.
    bool obtain(std::uintptr_t self) {
        const std::uintptr_t owner = thread.load(std::memory_order_acquire);
        return owner == self || (owner == 0 && take(self));
    }
};

// The threads that wait for the locks of this line, first come, first served: only the first
// sleeper for a lock is woken. It then usually competes with running threads for the lock, because
// a lock changes hands between running threads in nanoseconds. Once a millisecond the lock is
// handed to the first sleeper instead, so every thread gets it in time.
//
// Lines are in static storage and shared by all locks. So a thread that has released a lock may
// look whether another one waits, although the lock may have been destroyed by then.
class alignas(64) WaitLine {
public:
    // The line for a new lock.
    static WaitLine& next();

    // Releases what the lines have allocated. For the unloading of the library.
    static void releaseAll();

    // Returns when the thread owns the lock.
    void wait(Ownership& lock, std::uintptr_t self);

    // To be called by a thread that has just released a lock of this line, at this address.
    void ended(const Ownership* lock) {
        // No barrier is needed here: a thread that begins to wait calls fenceAllThreads, and only
        // naps if the system has no such fence.
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (waiting_.load(std::memory_order_relaxed) != 0) {
            callFirst(lock);
        }
    }

private:
    struct Waiter;

    void sleepUntilObtained(Ownership& lock, std::uintptr_t self);
    Waiter* join(Ownership& lock, std::uintptr_t self);
    void leave(Waiter& waiter);
    void callFirst(const Ownership* lock);

    Waiter* takeSpare();
    Waiter** firstFor(const Ownership* lock);
    void append(Waiter& waiter);
    void remove(Waiter& waiter);

    std::atomic<std::uint32_t> waiting_{0};
    core::SpinLock busy_; // guards the members below and the links between waiters
    // A list of the first waiter for each lock; the others for that lock follow by `behind`. So
    // many waiters for one lock do not slow down the release of another lock of this line.
    Waiter* firsts_ = nullptr;
    Waiter* spares_ = nullptr;
};

} // namespace tasks
