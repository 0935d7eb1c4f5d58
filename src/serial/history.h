// The objects of states, and what they were in the states that are kept.
#pragma once

#include "serial/departing.h"
#include "serial/form.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <utility>

namespace serial {

// What an object is from a state on.
struct Version {
    std::uint32_t state = 0;
    ObjectRef object; // null: gone, or not there yet
    ImagePtr image;
    std::uint32_t sum = 0;

    // Of memory, about.
    std::size_t bytes() const { return image ? 128 + image->size() * sizeof(Cell) : 0; }
};

struct Entry {
    std::uint32_t number = 0;
    ObjectRef object;             // now; null: removed
    bool isMarked = false;        // and in the list of those that are: then the entry stays
    std::uint32_t referrers = 0;  // how many references to it the newest state has
    qz::vector<Version> versions; // by their states

    // What it was in a state.
    const Version& at(std::uint32_t state) const;
    const Version& last() const;
};

// A change that belongs to a state that is to come.
struct Change {
    Entry* entry;
    Version version;
};

using Changes = qz::vector<Change>;

// Who sends states chooses the numbers, and must not know which of them share a bucket.
class NumberHash {
public:
    NumberHash();
    std::size_t operator()(std::uint32_t number) const noexcept { return number * factor_ >> 32; }

private:
    std::uint64_t factor_; // any odd one
};

using Entries = qz::vector<std::pair<std::uint32_t, Entry*>>;

class History final : public Numbers {
public:
    History() = default;
    History(const History&) = delete;
    History& operator=(const History&) = delete;
    ~History();

    struct Line {
        std::uint32_t state = 0;
        std::uint32_t sum = 0;
    };

    std::uint32_t numberOf(const Common::Identifiable& object) const override;
    Common::Identifiable* objectOf(std::uint32_t number) const override;

    // An entry stays where it is until a state is forgotten.
    Entry* find(std::uint32_t number);
    const Entry* find(std::uint32_t number) const;
    Entry& findOrAdd(std::uint32_t number);

    // Puts an object in the place of another, or null, now. Throws std::bad_alloc, and nothing
    // happened then.
    void set(Entry& entry, const ObjectRef& object);

    // The newest state, and one that is kept; null if there is none.
    Line newest() const { return lines_.empty() ? Line() : lines_.back(); }
    const Line* findLine(std::uint32_t state) const;

    // The numbers of what has changed since a state, in order; there may be more.
    qz::vector<std::uint32_t> changedSince(std::uint32_t state) const;

    // Adds a state that differs from the newest one; `replace` puts its objects in the place of
    // those that are there now besides. Throws std::bad_alloc, and nothing happened then.
    void append(Line line, const Changes& changes);
    void replace(Line line, const Changes& changes);

    // An entry without an object, now or in a state that is kept, unless it is marked.
    void eraseIfGone(Entry& entry);

    void forget(std::uint32_t before);
    // So many states, and so much memory for all but the newest one.
    void keep(std::size_t most, std::size_t mostBytes);
    void clear();

    // The objects that no state has any more: when nothing is being changed.
    void release() noexcept { departing_.release(); }

    // Of the newest state, in memory.
    std::size_t bytes() const { return newestBytes_; }

    std::size_t count() const { return numbers_.size(); }

    // All of them, by their numbers: mostly as they are in memory, too.
    Entries entries();

private:
    void dropNumbers(const Changes& changes);
    void prune(std::uint32_t number, std::uint32_t before);
    void dropVersions(Entry& entry, std::ptrdiff_t count);
    void changeReferences(const Image* was, const Image* is);

    // The values are what others point to.
    std::unordered_map<std::uint32_t, Entry, NumberHash> entries_;
    std::unordered_map<const Common::Identifiable*, std::uint32_t> numbers_; // of what is now
    std::deque<Line> lines_;
    std::deque<std::pair<std::uint32_t, std::uint32_t>> journal_; // state and number, by states
    std::size_t bytes_ = 0;                                       // of all states
    std::size_t newestBytes_ = 0;                                 // of the newest one
    Departing departing_;
};

} // namespace serial
