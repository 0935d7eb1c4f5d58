// What a profiler keeps of each thread.
#pragma once

#include "Common/Allocator.h"
#include "common/frame_times.h"
#include "platform/thread.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace common {

constexpr std::size_t kProfiledNameSize = 64;

struct ProfiledUnit {
    char name[kProfiledNameSize];
    std::uint64_t count;
    std::int64_t total, minimum, maximum; // ticks

    // Takes in what another unit of this name has counted.
    void add(const ProfiledUnit& other) noexcept;
};

struct ProfiledSection {
    std::uint32_t unit;
    std::int64_t start, duration; // ticks
};

// How a trace tells threads apart, and what it calls them.
struct ThreadId {
    unsigned number;
    platform::ThreadName name; // as it was at the first section after the profiler's last start
};

// What one thread has recorded, and where it is. Locked for each use: by its thread, which hardly
// ever meets anybody, and by who reads.
class ProfiledThread {
public:
    explicit ProfiledThread(unsigned number) : id_{number, {}} {}

    // session: sections of an earlier one were cut off by its end, and do not count.
    void enter(const char* name, unsigned session, std::int64_t now);

    // room: how many sections may still be kept one by one. frames: gets the time of a frame.
    void leave(unsigned session, std::int64_t now, std::atomic<std::int64_t>& room,
               FrameTimes& frames);

    void reset();

    // Told by the thread as the last thing it does here.
    void end() { hasEnded_.store(true, std::memory_order_release); }
    bool hasEnded() const { return hasEnded_.load(std::memory_order_acquire); }

    template<class Visit>
    void read(Visit visit) const {
        const std::lock_guard lock(mutex_);
        visit(id_, units_, sections_);
    }

private:
    static constexpr std::size_t kMaxDepth = 64;
    static constexpr std::size_t kCacheSize = 256;
    static constexpr std::uint32_t kNoUnit = UINT32_MAX;

    struct Open {
        std::uint32_t unit;
        std::int64_t start;
    };

    void continueIn(unsigned session);
    std::uint32_t unitOf(const char* name) noexcept; // kNoUnit if there is no memory
    std::uint32_t findOrAdd(const char* name);

    mutable std::mutex mutex_;
    ThreadId id_;
    std::atomic<bool> hasEnded_{false};
    unsigned session_ = 0;
    std::size_t depth_ = 0;
    std::uint32_t frameUnit_ = kNoUnit;
    std::array<Open, kMaxDepth> open_{};
    std::array<std::uint32_t, kCacheSize> cache_{}; // by the name's address; a guess to be checked
    qz::vector<ProfiledUnit> units_;
    qz::vector<ProfiledSection> sections_;
};

} // namespace common
