// How long the last frames took.
#pragma once

#include "core/spin.h"
#include "platform/pause.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace common {

// Threads that have frames add to it; any thread may read.
class FrameTimes {
public:
    static constexpr std::size_t kKept = 512;

    void add(std::int64_t ticks) {
        const std::lock_guard lock(lock_);
        ticks_[count_ % kKept] = ticks;
        ++count_;
    }

    void reset() {
        const std::lock_guard lock(lock_);
        count_ = 0;
    }

    // Calls back with each kept frame from number `next` on, at most `room` of them. Returns the
    // number after the last one. A `next` larger than the number of frames so far comes
    // from before a reset: then reading begins with the oldest frame. Reads nothing if another
    // thread has the lock for more than a moment; in a forked child it may have it for ever.
    template<class Visit>
    std::uint64_t read(std::uint64_t next, std::size_t room, Visit visit) const {
        std::unique_lock lock(lock_, std::defer_lock);
        if (!platform::succeedsSoon([&] { return lock.try_lock(); })) {
            return next;
        }
        const std::uint64_t oldest = count_ > kKept ? count_ - kKept : 0;
        next = next > count_ ? oldest : std::max(next, oldest);
        for (; room > 0 && next < count_; --room, ++next) {
            visit(ticks_[next % kKept]);
        }
        return next;
    }

private:
    mutable core::SpinLock lock_;
    std::array<std::int64_t, kKept> ticks_{};
    std::uint64_t count_ = 0;
};

} // namespace common
