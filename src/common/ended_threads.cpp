#include "common/ended_threads.h"

#include <algorithm>

namespace common {

void EndedThreads::take(const ProfiledThread& thread) {
    const ThreadId id = thread.id();
    qz::vector<ProfiledUnit> units;
    qz::unordered_map<const CountedUnit*, ProfiledUnit*> places;
    thread.units().read([&](const CountedUnit& unit) {
        units.push_back(unit.read());
        ProfiledUnit empty{};
        std::ranges::copy(units.back().name, empty.name);
        places[&unit] = &units_.emplace(unit.name(), empty).first->second;
    });
    makeRoom(thread.sections().size());
    if (thread.sections().size() > 0) {
        threads_.push_back(id);
    }
    // Nothing throws from here on.
    for (const ProfiledUnit& unit : units) {
        units_.find(unit.name)->second.add(unit);
    }
    thread.sections().read([&](const ProfiledSection& section) {
        const char* const name = places.find(section.unit)->second->name;
        sections_.push_back({name, id.number, section.start, section.duration});
    });
}
void EndedThreads::reset() {
    units_ = {};
    threads_ = {};
    sections_ = {};
}

void EndedThreads::makeRoom(std::size_t sections) {
    const std::size_t wanted = sections_.size() + sections;
    if (wanted > sections_.capacity()) {
        sections_.reserve(std::max(wanted, 2 * sections_.capacity()));
    }
}

} // namespace common
