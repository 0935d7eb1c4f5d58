// What a profiler keeps of each thread.
#pragma once

#include "Common/Allocator.h"
#include "common/frame_times.h"
#include "common/growing_list.h"
#include "core/probe_table.h"
#include "platform/thread.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string_view>

namespace common {

constexpr std::size_t kProfiledNameSize = 64;

struct ProfiledUnit {
    char name[kProfiledNameSize];
    std::uint64_t count;
    std::int64_t total, minimum, maximum; // ticks

    // Adds the counts of another unit of this name.
    void add(const ProfiledUnit& other) noexcept;
};

// A unit that its thread adds to while others read it. The count of changes is odd during a change.
// It tells readers whether their values belong together; the thread never waits for them.
class CountedUnit {
public:
    CountedUnit() = default;
    CountedUnit& operator=(const CountedUnit&) = delete;

    // Before other threads know the unit.
    void setName(std::string_view name);

    const char* name() const { return name_; }
    void add(std::int64_t duration);
    ProfiledUnit read() const;

private:
    char name_[kProfiledNameSize] = "";
    std::atomic<std::uint64_t> changes_{0};
    std::atomic<std::uint64_t> count_{0};
    std::atomic<std::int64_t> total_{0}, minimum_{0}, maximum_{0};
};

struct ProfiledSection {
    const CountedUnit* unit;
    std::int64_t start, duration; // ticks
};

// How a trace tells threads apart, and what it calls them.
struct ThreadId {
    unsigned number;
    platform::ThreadName name; // as it was at the first section after the profiler's last start
};

// A thread's units by name, for the thread itself.
class UnitIndex {
public:
    CountedUnit* find(std::string_view name) const; // null if there is none
    void add(CountedUnit& unit);                    // throws std::bad_alloc
    void swap(UnitIndex& other) noexcept { table_.swap(other.table_); }

private:
    struct Slot {
        CountedUnit* unit = nullptr;

        bool isFree() const { return unit == nullptr; }
        std::size_t hash() const { return std::hash<std::string_view>()(unit->name()); }
    };

    core::ProbeTable<qz::vector<Slot>> table_;
};

// What one thread has recorded, and the sections that it is in. The thread takes the lock for each
// section. Readers need it only for the name: they may read units and sections while the thread
// adds to them. reset() holds it while it takes the contents away.
class ProfiledThread {
public:
    using Units = GrowingList<CountedUnit>;
    using Sections = GrowingList<ProfiledSection>;

    explicit ProfiledThread(unsigned number) : id_{number, {}} {}

    // `session`: the current one. Sections that an earlier one left open do not count.
    void enter(const char* name, unsigned session, std::int64_t now);

    // `room`: how many sections may still be kept one by one. `frames` gets the time of a frame.
    void leave(unsigned session, std::int64_t now, std::atomic<std::int64_t>& room,
               FrameTimes& frames);

    // Not while somebody reads.
    void reset();

    // The thread calls this last.
    void end() { hasEnded_.store(true, std::memory_order_release); }
    bool hasEnded() const { return hasEnded_.load(std::memory_order_acquire); }

    ThreadId id() const;
    const Units& units() const { return units_; }
    const Sections& sections() const { return sections_; }

private:
    static constexpr std::size_t kMaxDepth = 64;
    static constexpr std::size_t kCacheSize = 256;

    struct Open {
        CountedUnit* unit;
        std::int64_t start;
    };

    void continueIn(unsigned session);
    CountedUnit* unitOf(const char* name) noexcept; // null if there is no memory
    CountedUnit* findOrAdd(const char* name);

    mutable std::mutex mutex_;
    ThreadId id_;
    std::atomic<bool> hasEnded_{false};
    unsigned session_ = 0;
    std::size_t depth_ = 0;
    CountedUnit* frameUnit_ = nullptr;
    std::array<Open, kMaxDepth> open_{};
    std::array<CountedUnit*, kCacheSize> cache_{}; // by the name's address; a guess to be checked
    UnitIndex index_;
    Units units_;
    Sections sections_;
};

} // namespace common
