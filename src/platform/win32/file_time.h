// Conversion of the system's times.
#pragma once

#include <windows.h>

#include <cstdint>

namespace platform {

// Tenths of a microsecond since the start of 1970, UTC; a FILETIME counts them since 1601.
inline std::int64_t ticksOf(const FILETIME& time) {
    constexpr std::int64_t kEpoch = 116'444'736'000'000'000;
    const auto ticks = (static_cast<std::int64_t>(time.dwHighDateTime) << 32) |
                       static_cast<std::int64_t>(time.dwLowDateTime);
    return ticks - kEpoch;
}

inline std::int64_t secondsOf(const FILETIME& time) {
    constexpr std::int64_t kTicksPerSecond = 10'000'000;
    return ticksOf(time) / kTicksPerSecond;
}

} // namespace platform
