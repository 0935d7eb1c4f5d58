// What ended threads have left in a profiler: one unit for each name, and their sections.
#pragma once

#include "common/profiled_thread.h"

#include <cstdint>
#include <map>
#include <string>

namespace common {

using ProfiledUnits = std::map<std::string, ProfiledUnit>;

class EndedThreads {
public:
    struct Section {
        const char* name; // of one of the units
        unsigned thread;
        std::int64_t start, duration; // ticks
    };

    // Takes over all that the thread has recorded. Throws std::bad_alloc, and then nothing of it is
    // counted.
    void take(const ProfiledThread& thread);

    void reset();

    const ProfiledUnits& units() const { return units_; }
    const qz::vector<ThreadId>& threads() const { return threads_; } // those that have sections
    const qz::vector<Section>& sections() const { return sections_; }

private:
    void makeRoom(std::size_t sections);

    ProfiledUnits units_;
    qz::vector<ThreadId> threads_;
    qz::vector<Section> sections_;
};

} // namespace common
