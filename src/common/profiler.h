// What a profiler has recorded, and its end.
#pragma once

#include "Common/Allocator.h"
#include "Common/Profiler.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace common {

constexpr std::size_t kNameSize = 64;

struct ProfiledUnit {
    char name[kNameSize];
    std::uint64_t count;
    std::int64_t total, minimum, maximum; // ticks
};

struct ProfiledSection {
    std::uint32_t unit;
    std::int64_t start, duration; // ticks
};

// What one thread has recorded, and where it is. Locked for each use: by its thread, which hardly
// ever meets anybody, and by who reads.
class ProfiledThread {
public:
    ProfiledThread(unsigned number, std::uint64_t owner) : number_(number), owner_(owner) {}

    std::uint64_t owner() const { return owner_; }

    // session: sections of an earlier one were cut off by its end, and do not count.
    void enter(const char* name, unsigned session, std::int64_t now);

    // room: how many sections may still be kept one by one.
    void leave(unsigned session, std::int64_t now, std::atomic<std::int64_t>& room);

    void reset();

    template<class Visit>
    void read(Visit visit) const {
        const std::lock_guard lock(mutex_);
        visit(number_, units_, sections_);
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
    const unsigned number_;
    const std::uint64_t owner_; // the thread
    unsigned session_ = 0;
    std::size_t depth_ = 0;
    std::array<Open, kMaxDepth> open_{};
    std::array<std::uint32_t, kCacheSize> cache_{}; // by the name's address; a guess to be checked
    qz::vector<ProfiledUnit> units_;
    qz::vector<ProfiledSection> sections_;
};

// Null: an empty trace.
bool writeTrace(const Common::Profiler::Recording* recording, const char* path);

// Makes the global profiler, when the library is loaded.
void openGlobalProfiler();

// For the unloading of the library: gives the global profiler's memory back.
void closeGlobalProfiler();

} // namespace common

struct Common::Profiler::Recording {
    static constexpr std::int64_t kMaxSections = 1 << 20;

    common::ProfiledThread* threadFor();

    // All threads' units, by name.
    std::map<std::string, common::ProfiledUnit> merged() const;

    std::atomic<unsigned> session{0};
    std::atomic<std::int64_t> room{kMaxSections}; // negative: as many did not find any
    const std::uint64_t id = nextId();
    mutable std::mutex threadsMutex;
    qz::list<common::ProfiledThread> threads; // those that have ended, too

private:
    static std::uint64_t nextId();

    common::ProfiledThread& findOrAddThread(std::uint64_t serial);
};
