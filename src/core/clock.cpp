#include "Core/Clock.h"

#include "platform/clock.h"

#include <atomic>

namespace {

// 0.0 until the first call. Two first calls at once may both set the clock; the later base wins.
constinit std::atomic<double> secondsPerTick{0.0};
constinit std::atomic<std::int64_t> base{0};
constinit std::atomic<std::int64_t> rate{0};

bool isSet() {
    return secondsPerTick.load(std::memory_order_acquire) != 0.0;
}

void set() {
    const std::int64_t frequency = platform::counterRate();
    rate.store(frequency, std::memory_order_relaxed);
    base.store(platform::counterValue(), std::memory_order_relaxed);
    secondsPerTick.store(1.0 / static_cast<double>(frequency), std::memory_order_release);
}

} // namespace

int64_t QZ_get_ticks(void) {
    if (!isSet()) {
        set();
        return 0;
    }
    return platform::counterValue() - base.load(std::memory_order_relaxed);
}

int64_t QZ_get_tick_rate(void) {
    if (!isSet()) {
        set();
    }
    return rate.load(std::memory_order_relaxed);
}

double QZ_get_time(void) {
    const std::int64_t ticks = QZ_get_ticks();
    return static_cast<double>(ticks) * secondsPerTick.load(std::memory_order_relaxed);
}
