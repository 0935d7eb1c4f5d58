// Counts work for one waiting thread, and wakes it at little cost to the others.
#pragma once

#include "platform/thread.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace core {

// A counting semaphore with one waiting thread. Waking a sleeping thread costs the signalling
// thread a system call and, on another processor, tens of microseconds. So the waiting thread goes
// to sleep by degrees. Out of work it looks a few times more. Then it naps and looks again by
// itself, and is woken only if work piles up. After a quiet time it sleeps until it is woken.
//
// The price is the length of a nap: work may wait that long before it is seen.
class WakeSignal {
public:
    bool create() { return sleep_.create(0); }
    void destroy() { sleep_.destroy(); }

    // Adds one piece of work. Any thread.
    void signal() {
        const std::int32_t waiting = count_.fetch_add(1, std::memory_order_seq_cst);
        const State state = state_.load(std::memory_order_seq_cst);
        if (state == State::asleep || (state == State::napping && waiting >= kTooMuchToNap)) {
            wake(state);
        }
    }

    // Waits until there is work and takes at most `most` pieces of it; returns how many, at
    // least 1. The waiting thread only.
    std::int32_t wait(std::int32_t most);

    // Takes at most `most` pieces if there are any, else returns 0. The waiting thread, or whoever
    // stands in for it when it has ended.
    std::int32_t take(std::int32_t most);

    // Any thread. True if there is no work, and the waiting thread has come back for more and found
    // none. The count is read first, because that thread takes work only while it is awake.
    bool isIdle() const {
        return count_.load(std::memory_order_seq_cst) == 0 &&
               state_.load(std::memory_order_seq_cst) != State::awake;
    }

private:
    enum class State : std::int32_t { awake, napping, asleep };

    static constexpr std::int32_t kTooMuchToNap = 64;

    void wake(State from);
    void nap(std::chrono::microseconds length);
    void sleep();
    bool fallAsleep(State how);
    void wakeUp(State from);

    std::atomic<std::int32_t> count_{0};
    std::atomic<State> state_{State::awake};
    platform::Semaphore sleep_;
};

} // namespace core
