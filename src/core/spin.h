// Waits while another thread finishes a few instructions.
#pragma once

#include "platform/pause.h"
#include "platform/thread.h"

#include <atomic>
#include <chrono>

namespace core {

// One turn of a waiting loop. The other thread needs nanoseconds, unless it has lost its processor.
// Then spinning would only keep it from coming back, so this yields, and later sleeps, which lets
// in a thread of lower priority, too.
class Spin {
public:
    void turn() {
        ++turns_;
        if (turns_ < kTurnsBeforeYielding) {
            pauses_.pauseOnce();
        } else if (turns_ < kTurnsBeforeSleeping) {
            platform::yieldThread();
        } else {
            const platform::NoCancellation guard; // others may wait for us
            platform::sleepFor(std::chrono::microseconds(50));
        }
    }

private:
    static constexpr int kTurnsBeforeYielding = 70; // some fifty microseconds
    static constexpr int kTurnsBeforeSleeping = 170;

    platform::Pauses pauses_{1, 32};
    int turns_ = 0;
};

// A lock for a few instructions. It needs no system call as long as it is free, and no initialiser.
// At the end of a process whose other threads were killed, one of them may have it for ever: then
// the last thread goes on without it.
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
