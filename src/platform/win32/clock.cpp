#include "platform/clock.h"

#include <windows.h>

namespace platform {

std::int64_t counterValue() {
    LARGE_INTEGER value;
    QueryPerformanceCounter(&value);
    return value.QuadPart;
}

std::int64_t counterRate() {
    LARGE_INTEGER rate;
    QueryPerformanceFrequency(&rate);
    return rate.QuadPart;
}

} // namespace platform
