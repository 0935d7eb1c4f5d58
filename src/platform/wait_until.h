// How a loop waits for something that nobody signals.
#pragma once

#include "platform/thread.h"

#include <chrono>

namespace platform {

// Looks every `step` whether something is true; false if it is not within `limit`. Counts time and
// not steps: a sleep may take many times as long as asked for, on Windows until the system's next
// tick. Looks once more after the limit, because the last sleep may have been a long one. Allocates
// nothing and may run in a signal handler, if the condition may.
template<class Condition>
bool waitUntil(std::chrono::milliseconds limit, std::chrono::microseconds step, Condition isTrue) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
        const bool isLast = Clock::now() >= end;
        if (isTrue()) {
            return true;
        }
        if (isLast) {
            return false;
        }
        sleepFor(step);
    }
}

} // namespace platform
