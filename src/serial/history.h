// The objects of states, and their values in the states that are kept.
#pragma once

#include "serial/departing.h"
#include "serial/form.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <utility>

namespace serial {

// An object and its values from a state on.
struct Version {
    std::uint32_t state = 0;
    ObjectRef object; // null: removed, or not added yet
    ImagePtr image;
    std::uint32_t sum = 0;

    // How much memory it takes, approximately.
    std::size_t bytes() const { return image ? 128 + image->size() * sizeof(Cell) : 0; }
};

struct Entry {
    std::uint32_t number = 0;
    ObjectRef object;             // the present one; null: removed
    bool isMarked = false;        // it is in the list of marked numbers, so it is not erased
    std::uint32_t referrers = 0;  // how many references to it the newest state has
    std::uint32_t changes = 0;    // how many the journal has; while it has any, the entry stays
    qz::vector<Version> versions; // sorted by state

    // The version in a state.
    const Version& at(std::uint32_t state) const;
    const Version& last() const;
};

// A change for a state that is not appended yet.
struct Change {
    Entry* entry;
    Version version;
};

using Changes = qz::vector<Change>;

// The random factor keeps a sender, who chooses the numbers, from making them share a bucket.
class NumberHash {
public:
    NumberHash();
    std::size_t operator()(std::uint32_t number) const noexcept { return number * factor_ >> 32; }

private:
    std::uint64_t factor_; // odd
};

using Entries = qz::vector<Entry*>;

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

    // Pointers to entries stay valid until a state is forgotten.
    Entry* find(std::uint32_t number);
    const Entry* find(std::uint32_t number) const;
    Entry& findOrAdd(std::uint32_t number);

    // Replaces the present object. Either may be null. Throws std::bad_alloc, and then changes
    // nothing.
    void set(Entry& entry, const ObjectRef& object);

    // newest() has state 0 if there is no state; findLine is null if the state is not kept.
    Line newest() const { return lines_.empty() ? Line() : lines_.back(); }
    const Line* findLine(std::uint32_t state) const;

    // The entries that have changed since a state, sorted by number. There may be others.
    Entries changedSince(std::uint32_t state) const;

    // Both add a state that differs from the newest one by `changes`; `replace` also makes its
    // objects the present ones. They throw std::bad_alloc, and then change nothing.
    void append(Line line, const Changes& changes);
    void replace(Line line, const Changes& changes);

    // Erases an entry that has no object, now or in a state that is kept, unless it is marked.
    void eraseIfGone(Entry& entry);

    void forget(std::uint32_t before);
    // Forgets the oldest states until at most `most` are left, and all but the newest one take at
    // most `mostBytes` of memory.
    void keep(std::size_t most, std::size_t mostBytes);
    void clear();

    // Releases objects that no state has any more. Call it when nothing is being changed.
    void release() noexcept { departing_.release(); }

    // How much memory the newest state takes.
    std::size_t bytes() const { return newestBytes_; }

    std::size_t count() const { return numbers_.size(); }

    // All entries, sorted by number. Valid until an entry is added or removed.
    const Entries& entries();

private:
    void dropNumbers(const Changes& changes);
    void keepOrder(Entry& added);
    void forgetFirstChange(std::uint32_t before);
    void dropVersions(Entry& entry, std::ptrdiff_t count);
    void changeReferences(const Image* was, const Image* is);

    // Changes and callers point to the entries in it.
    std::unordered_map<std::uint32_t, Entry, NumberHash> entries_;
    std::unordered_map<const Common::Identifiable*, std::uint32_t> numbers_; // of present objects
    std::deque<Line> lines_;
    Entries ordered_;                                      // sorted by number if areOrdered_
    bool areOrdered_ = true;                               // ordered_ has exactly all entries
    std::deque<std::pair<std::uint32_t, Entry*>> journal_; // changes, sorted by state
    std::size_t bytes_ = 0;                                // memory of all states
    std::size_t newestBytes_ = 0;                          // memory of the newest one
    Departing departing_;
};

} // namespace serial
