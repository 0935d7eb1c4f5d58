#include "serial/history.h"

#include "core/spread.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace serial {

namespace {

const Version& nothing() {
    static const Version version;
    return version;
}

} // namespace

NumberHash::NumberHash()
    : factor_((reinterpret_cast<std::uintptr_t>(this) * core::kSpread ^
               static_cast<std::uint64_t>(
                   std::chrono::steady_clock::now().time_since_epoch().count())) |
              1U) {}

const Version& Entry::at(std::uint32_t state) const {
    const auto found =
        std::find_if(versions.rbegin(), versions.rend(),
                     [state](const Version& version) { return version.state <= state; });
    return found == versions.rend() ? nothing() : *found;
}

const Version& Entry::last() const {
    return versions.empty() ? nothing() : versions.back();
}

History::~History() {
    for (auto& [number, entry] : entries_) {
        if (entry.object) {
            departing_.take(entry.object, number, entry.last().image);
        }
        dropVersions(entry, std::ssize(entry.versions));
    }
    entries_.clear();
    release();
}

std::uint32_t History::numberOf(const Common::Identifiable& object) const {
    const auto found = numbers_.find(&object);
    return found == numbers_.end() ? 0 : found->second;
}

Common::Identifiable* History::objectOf(std::uint32_t number) const {
    const Entry* const entry = find(number);
    return entry == nullptr ? nullptr : entry->object.get();
}

Entry* History::find(std::uint32_t number) {
    const auto found = entries_.find(number);
    return found == entries_.end() ? nullptr : &found->second;
}

const Entry* History::find(std::uint32_t number) const {
    const auto found = entries_.find(number);
    return found == entries_.end() ? nullptr : &found->second;
}

Entry& History::findOrAdd(std::uint32_t number) {
    const auto [found, isNew] = entries_.try_emplace(number);
    Entry& entry = found->second;
    if (isNew) {
        entry.number = number;
        keepOrder(entry);
    }
    return entry;
}

// Mostly numbers ascend.
void History::keepOrder(Entry& added) {
    const bool isLast = areOrdered_ && (ordered_.empty() || ordered_.back()->number < added.number);
    areOrdered_ = false; // if there is no memory
    if (isLast) {
        ordered_.push_back(&added);
        areOrdered_ = true;
    }
}

void History::set(Entry& entry, const ObjectRef& object) {
    if (entry.object.get() == object.get()) {
        return;
    }
    if (object) {
        numbers_[object.get()] = entry.number;
    }
    if (entry.object) {
        numbers_.erase(entry.object.get());
        departing_.take(entry.object, entry.number, nullptr);
    }
    entry.object = object;
}

const Entries& History::entries() {
    if (!areOrdered_) {
        ordered_.clear();
        ordered_.reserve(entries_.size());
        for (auto& [number, entry] : entries_) {
            ordered_.push_back(&entry);
        }
        std::ranges::sort(ordered_, {}, &Entry::number);
        areOrdered_ = true;
    }
    return ordered_;
}

const History::Line* History::findLine(std::uint32_t state) const {
    const auto found = std::ranges::lower_bound(lines_, state, {}, &Line::state);
    return found == lines_.end() || found->state != state ? nullptr : &*found;
}

Entries History::changedSince(std::uint32_t state) const {
    Entries entries;
    for (auto change = journal_.rbegin(); change != journal_.rend() && change->first > state;
         ++change) {
        entries.push_back(change->second);
    }
    std::ranges::reverse(entries); // mostly in order, then
    if (!std::ranges::is_sorted(entries, {}, &Entry::number)) {
        std::ranges::sort(entries, {}, &Entry::number);
    }
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
    return entries;
}

// All steps that can fail come first. If one fails, spare room and entries in the journal stay,
// which does no harm.
void History::append(Line line, const Changes& changes) {
    for (const Change& change : changes) {
        qz::vector<Version>& versions = change.entry->versions;
        if (versions.size() == versions.capacity()) {
            versions.reserve(std::max<std::size_t>(2, 2 * versions.size()));
        }
        journal_.emplace_back(line.state, change.entry);
        ++change.entry->changes;
    }
    lines_.push_back(line);
    for (const Change& change : changes) {
        Entry& entry = *change.entry;
        changeReferences(entry.last().image.get(), change.version.image.get());
        newestBytes_ += change.version.bytes() - entry.last().bytes();
        bytes_ += change.version.bytes();
        entry.versions.push_back(change.version);
        entry.versions.back().state = line.state;
    }
}

void History::changeReferences(const Image* was, const Image* is) {
    if (was != nullptr && is != nullptr && haveSameReferences(*was, *is)) {
        return;
    }
    if (was != nullptr) {
        forEachReference(*was, [this](std::uint32_t number) {
            Entry* const entry = find(number);
            if (entry != nullptr && entry->referrers > 0) { // 0 if a sender was wrong
                --entry->referrers;
            }
        });
    }
    if (is != nullptr) {
        forEachReference(*is, [this](std::uint32_t number) {
            if (Entry* const entry = find(number)) {
                ++entry->referrers;
            }
        });
    }
}

// What may run out of memory comes first and can be taken back: the numbers of new objects, and the
// state. Only then new objects take the places of old ones.
void History::replace(Line line, const Changes& changes) {
    try {
        for (const Change& change : changes) {
            const Common::Identifiable* const object = change.version.object.get();
            if (object != nullptr && object != change.entry->object.get()) {
                numbers_.try_emplace(object, change.entry->number);
            }
        }
        append(line, changes);
    } catch (...) {
        dropNumbers(changes);
        throw;
    }
    for (const Change& change : changes) {
        Entry& entry = *change.entry;
        if (entry.object && entry.object.get() != change.version.object.get()) {
            numbers_.erase(entry.object.get());
            departing_.take(entry.object, entry.number, nullptr);
        }
        entry.object = change.version.object;
    }
}

// Erases the numbers of objects that were not put in place.
void History::dropNumbers(const Changes& changes) {
    for (const Change& change : changes) {
        const Common::Identifiable* const object = change.version.object.get();
        if (change.entry->object.get() != object) {
            numbers_.erase(object);
        }
    }
}

void History::forget(std::uint32_t before) {
    before = std::min(before, newest().state);
    while (!lines_.empty() && lines_.front().state < before) {
        lines_.pop_front();
    }
    while (!journal_.empty() && journal_.front().first <= before) {
        forgetFirstChange(before);
    }
}

void History::keep(std::size_t most, std::size_t mostBytes) {
    while (lines_.size() > 1 && (lines_.size() > most || bytes_ - newestBytes_ > mostBytes)) {
        forget(lines_[1].state);
    }
}

// Drops the versions of its object up to a state, except the last of them.
void History::forgetFirstChange(std::uint32_t before) {
    Entry& entry = *journal_.front().second;
    journal_.pop_front();
    --entry.changes;
    qz::vector<Version>& versions = entry.versions;
    const auto next = std::ranges::upper_bound(versions, before, {}, &Version::state);
    if (next - versions.begin() > 1) {
        dropVersions(entry, next - 1 - versions.begin());
    }
    eraseIfGone(entry);
}

// Drops the oldest versions. A version whose object the next one does not have may hold the last
// reference to the object.
void History::dropVersions(Entry& entry, std::ptrdiff_t count) {
    const auto first = entry.versions.begin(), last = first + count;
    for (auto version = first; version != last; ++version) {
        bytes_ -= version->bytes();
        const bool isLast = version + 1 == entry.versions.end();
        const ObjectRef& next = isLast ? entry.object : (version + 1)->object;
        if (version->object && version->object.get() != next.get()) {
            departing_.take(version->object, entry.number, version->image);
        }
    }
    entry.versions.erase(first, last);
}

void History::eraseIfGone(Entry& entry) {
    const Version& last = entry.last();
    const std::uint32_t oldest = lines_.empty() ? 0 : lines_.front().state;
    const bool isHeld = entry.object || entry.isMarked || entry.changes > 0;
    if (!isHeld && !last.object && last.state <= oldest) {
        areOrdered_ = false;
        entries_.erase(std::uint32_t{entry.number}); // a copy, because this destroys the entry
    }
}

void History::clear() {
    lines_.clear();
    journal_.clear();
    newestBytes_ = 0;
    areOrdered_ = false;
    for (auto item = entries_.begin(); item != entries_.end();) {
        Entry& entry = item->second;
        dropVersions(entry, std::ssize(entry.versions));
        entry.referrers = entry.changes = 0;
        const bool isHeld = entry.object || entry.isMarked;
        item = isHeld ? std::next(item) : entries_.erase(item);
    }
}

} // namespace serial
