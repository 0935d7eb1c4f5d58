// The objects of states, and what they were in the states that are kept.
#pragma once

#include "Serial/CommonSerializer.h"
#include "serial/form.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <unordered_map>
#include <utility>

namespace serial {

using ObjectRef = Common::Ref<Common::SerializableObject>;

// What an object is from a state on.
struct Version {
    std::uint32_t state = 0;
    ObjectRef object; // null: gone, or not there yet
    ImagePtr image;
    std::uint32_t sum = 0;
};

struct Entry {
    ObjectRef object; // now; null: removed
    bool isMarked = false;
    qz::vector<Version> versions; // by their states

    // What it was in a state.
    const Version& at(std::uint32_t state) const;
    const Version& last() const;
};

// A change that belongs to a state that is to come.
struct Change {
    std::uint32_t number;
    Version version;
};

using Changes = qz::vector<Change>;

class History final : public Numbers {
public:
    struct Line {
        std::uint32_t state = 0;
        std::uint32_t sum = 0;
    };

    std::uint32_t numberOf(const Common::Identifiable& object) const override;
    Common::Identifiable* objectOf(std::uint32_t number) const override;

    Entry* find(std::uint32_t number);
    const Entry* find(std::uint32_t number) const;

    // Puts an object in the place of another, or null, now. Throws std::bad_alloc, and nothing
    // happened then.
    void set(std::uint32_t number, const ObjectRef& object);

    // The newest state, and one that is kept; null if there is none.
    Line newest() const { return lines_.empty() ? Line() : lines_.back(); }
    const Line* findLine(std::uint32_t state) const;

    // The numbers of what has changed since a state, in order; there may be more.
    qz::vector<std::uint32_t> changedSince(std::uint32_t state) const;

    // Adds a state that differs from the newest one; `replace` puts its objects in the place of
    // those that are there now besides. Throws std::bad_alloc, and nothing happened then.
    void append(Line line, const Changes& changes);
    void replace(Line line, const Changes& changes);

    void forget(std::uint32_t before);
    void keep(std::size_t most); // so many states at most
    void clear();

    std::size_t count() const { return numbers_.size(); }
    const std::map<std::uint32_t, Entry>& entries() const { return entries_; }
    std::map<std::uint32_t, Entry>& entries() { return entries_; }

private:
    void dropNumbers(const Changes& changes);
    void prune(std::uint32_t number, std::uint32_t before);

    std::map<std::uint32_t, Entry> entries_;
    std::unordered_map<const Common::Identifiable*, std::uint32_t> numbers_; // of what is now
    std::deque<Line> lines_;
    std::deque<std::pair<std::uint32_t, std::uint32_t>> journal_; // state and number, by states
};

} // namespace serial
