// Waiting for another thread to finish a few instructions.
#pragma once

#include "platform/compiler.h"
#include "platform/thread.h"

#include <atomic>
#include <chrono>

#if defined(QZ_X64)
#    include <immintrin.h>
#endif

namespace core {

// Tells the processor that this is a waiting loop.
inline void relax() {
#if defined(QZ_X64)
    _mm_pause();
#endif
}

// One turn of a waiting loop. What is waited for takes nanoseconds, unless the thread that does it
// has lost its processor: then spinning on only keeps it from coming back. Yielding lets it in,
// unless it is of lower priority: for that the waiting thread has to sleep.
class Spin {
public:
    void turn() {
        ++turns_;
        if (turns_ < kTurnsBeforeYielding) {
            relax();
        } else if (turns_ < kTurnsBeforeSleeping) {
            platform::yieldThread();
        } else {
            const int cancellation = platform::forbidCancellation(); // somebody may wait for us
            platform::sleepFor(std::chrono::microseconds(50));
            platform::resumeCancellation(cancellation);
        }
    }

private:
    static constexpr int kTurnsBeforeYielding = 2000;
    static constexpr int kTurnsBeforeSleeping = 2100;

    int turns_ = 0;
};

// For what takes a few instructions. Without a system call, and free from the first moment on. At
// the end of a process that has killed its other threads one of these may have it for ever: then
// the last thread goes on without.
class SpinLock {
public:
    void lock() {
        for (Spin spin; !try_lock() && !platform::otherThreadsAreGone();) {
            spin.turn();
        }
    }
    bool try_lock() { return !busy_.test_and_set(std::memory_order_acquire); }
    void unlock() { busy_.clear(std::memory_order_release); }

private:
    std::atomic_flag busy_;
};

} // namespace core
