#include "core/wake_signal.h"

#include <algorithm>
#include <chrono>

namespace core {

namespace {

constexpr int kTurnsBeforeNap = 32; // some ten microseconds

using Clock = std::chrono::steady_clock;

// Naps grow, so that a log with little to do costs little: a tenth of a millisecond first, sixteen
// times as much from the fifth on. On Windows each lasts until the system's tick, 15.6 ms at most.
// After a tenth of a second without work the thread sleeps.
constexpr std::chrono::microseconds kFirstNap{100};
constexpr int kDoublings = 4;
constexpr std::chrono::milliseconds kNapTime{100};

std::chrono::microseconds napLength(int naps) {
    return kFirstNap * (1 << std::min(naps, kDoublings));
}

} // namespace

// The exchange lets only one of several threads wake the sleeper: one token for one rest.
void WakeSignal::wake(State from) {
    if (state_.compare_exchange_strong(from, State::awake)) {
        sleep_.signal();
    }
}

// The two sides write and read state and count in opposite order: either this thread sees the work,
// or the signalling thread sees it resting.
bool WakeSignal::fallAsleep(State how) {
    state_.store(how, std::memory_order_seq_cst);
    return count_.load(std::memory_order_seq_cst) == 0;
}

// Ends a rest that no token has ended. If another thread is waking this one all the same, its token
// has to be taken.
void WakeSignal::wakeUp(State from) {
    if (!state_.compare_exchange_strong(from, State::awake)) {
        sleep_.wait();
    }
}

void WakeSignal::nap(std::chrono::microseconds length) {
    if (!fallAsleep(State::napping) || !sleep_.waitFor(length)) {
        wakeUp(State::napping);
    }
}

void WakeSignal::sleep() {
    if (!fallAsleep(State::asleep) || sleep_.wait() != 0) {
        wakeUp(State::asleep);
    }
}

std::int32_t WakeSignal::take(std::int32_t most) {
    const std::int32_t taken = std::min(most, count_.load(std::memory_order_acquire));
    if (taken > 0) {
        count_.fetch_sub(taken, std::memory_order_acq_rel);
    }
    return taken;
}

std::int32_t WakeSignal::wait(std::int32_t most) {
    Clock::time_point bedtime;
    for (int rests = -kTurnsBeforeNap;; ++rests) {
        if (const std::int32_t taken = take(most)) {
            return taken;
        }
        if (rests < 0) {
            platform::yieldThread();
            continue;
        }
        const Clock::time_point now = Clock::now();
        if (rests == 0) {
            bedtime = now + kNapTime;
        }
        if (now < bedtime) {
            nap(napLength(rests));
        } else {
            sleep();
        }
    }
}

} // namespace core
