#include "core/wake_signal.h"

#include <algorithm>
#include <chrono>

namespace core {

namespace {

constexpr std::chrono::microseconds kNap{100};
constexpr int kNapsBeforeSleep = 100; // ten milliseconds without work

} // namespace

// The swap picks one among several threads that want to wake: one token for one rest.
void WakeSignal::wake(State from) {
    if (state_.compare_exchange_strong(from, State::awake)) {
        sleep_.signal();
    }
}

// State and count are written and read in opposite order on the two sides: either this thread sees
// the work, or the signalling thread sees it resting.
void WakeSignal::rest(State how) {
    state_.store(how, std::memory_order_seq_cst);
    bool woken = false;
    if (count_.load(std::memory_order_seq_cst) == 0) {
        woken = how == State::napping ? sleep_.waitFor(kNap) : sleep_.wait() == 0;
    }
    State expected = how;
    if (!woken && !state_.compare_exchange_strong(expected, State::awake)) {
        sleep_.wait(); // somebody is waking this thread all the same: take the token
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
    for (int rests = 0;; ++rests) {
        if (const std::int32_t taken = take(most)) {
            return taken;
        }
        rest(rests < kNapsBeforeSleep ? State::napping : State::asleep);
    }
}

} // namespace core
