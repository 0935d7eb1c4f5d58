#include "common/ended_threads.h"

#include <algorithm>

namespace common {

void EndedThreads::take(const ProfiledThread& thread) {
    thread.read([this](const ThreadId& id, const auto& units, const auto& sections) {
        qz::vector<ProfiledUnit*> places;
        places.reserve(units.size());
        for (const ProfiledUnit& unit : units) {
            ProfiledUnit empty = unit;
            empty.count = 0;
            empty.total = 0;
            places.push_back(&units_.emplace(unit.name, empty).first->second);
        }
        makeRoom(sections.size());
        if (!sections.empty()) {
            threads_.push_back(id);
        }
        // Nothing throws from here on.
        for (std::size_t i = 0; i < units.size(); ++i) {
            places[i]->add(units[i]);
        }
        for (const ProfiledSection& section : sections) {
            sections_.push_back(
                {places[section.unit]->name, id.number, section.start, section.duration});
        }
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
