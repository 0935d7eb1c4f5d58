// Where threads sleep that wait for a lock.
#pragma once

#include "core/spin.h"

#include <atomic>
#include <cstdint>

namespace tasks {

// Who has a lock.
struct Ownership {
    std::atomic<std::uintptr_t> thread{0}; // 0: nobody
    std::int64_t nextHandover = 0;         // a moment; the wait line's business

    bool take(std::uintptr_t self) {
        std::uintptr_t nobody = 0;
        return thread.compare_exchange_strong(nobody, self, std::memory_order_acquire,
                                              std::memory_order_relaxed);
    }

    // True if the lock is the thread's now: it was free, or has been handed to it.
    bool obtain(std::uintptr_t self) {
        const std::uintptr_t owner = thread.load(std::memory_order_acquire);
        return owner == self || (owner == 0 && take(self));
    }
};

// The threads that wait for some locks, first come, first served: of those who sleep only the first
// is ever woken. As a rule it then takes its chance beside everybody else who wants the lock,
// because a lock that stays with running threads changes hands in nanoseconds. Once a millisecond
// it is handed the lock instead, so that everybody's turn comes.
//
// Lines are in static storage and shared by all locks. So whoever has given a lock up may look
// whether somebody waits, although the lock may be gone by then.
class alignas(64) WaitLine {
public:
    // The line for a new lock.
    static WaitLine& next();

    // Gives back what the lines have allocated, when the library is unloaded.
    static void releaseAll();

    // Returns when the lock is the thread's.
    void wait(Ownership& lock, std::uintptr_t self);

    // For a thread that has just given up a lock of this line, at this address.
    void ended(const Ownership* lock) {
        // What a thread that begins to wait does makes up for the barrier that is missing here.
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
    core::SpinLock busy_; // guards what follows, and the waiters' places
    // One for each lock, with the others for that lock behind it: however many wait for one lock,
    // giving up another one of this line stays quick.
    Waiter* firsts_ = nullptr;
    Waiter* spares_ = nullptr;
};

} // namespace tasks
