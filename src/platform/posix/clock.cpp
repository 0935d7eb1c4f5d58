#include "platform/clock.h"

#include <ctime>

namespace platform {

namespace {
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
} // namespace

std::int64_t counterValue() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

std::int64_t counterRate() {
    return kNanosecondsPerSecond;
}

} // namespace platform
