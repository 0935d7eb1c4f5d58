// Captures and writes states.
#include "serial/bufferizer_state.h"

#include <limits>
#include <map>
#include <utility>

namespace Common {

namespace {

// Writes what differs between a base line, or nothing, and the newest state.
class StateWriter {
public:
    StateWriter(serial::History& history, std::uint32_t base)
        : base_(base), entries_(base == 0 ? history.entries() : history.changedSince(base)) {}

    serial::Bytes write() {
        list([&](const auto& was, const auto& is) { return was.object && isOther(was, is); },
             [](const auto&, const auto&) {});
        list([&](const auto& was, const auto& is) { return is.object && isOther(was, is); },
             [&](const auto&, const auto& is) { writeClass(is); });
        list(
            [&](const auto& was, const auto& is) {
                return is.object && (isOther(was, is) || !serial::equal(*was.image, *is.image));
            },
            [&](const auto& was, const auto& is) {
                serial::write(*is.image,
                              isOther(was, is) ? serial::Beside() : serial::Beside(*was.image),
                              out_);
            });
        return out_.take();
    }

private:
    using Version = serial::Version;

    static bool isOther(const Version& was, const Version& is) {
        return was.object.get() != is.object.get();
    }

    // Lists the objects that meet a condition, and writes something behind each number.
    template<class Condition, class Write>
    void list(Condition condition, Write write) {
        serial::NumberList list;
        for (const serial::Entry* const entry : entries_) {
            const Version& was = entry->at(base_);
            const Version& is = entry->last();
            if (condition(was, is)) {
                list.put(entry->number, out_);
                write(was, is);
            }
        }
        serial::writeCompact(0, out_);
    }

    // Writes the number of an object's class. Behind the number of a new class it writes the name
    // and the description of the object's values.
    void writeClass(const Version& version) {
        const std::string& name = version.object->getClassIdentifier().getClassName();
        const auto [found, isNew] = classes_.try_emplace(name, classes_.size());
        serial::writeCompact(found->second, out_);
        if (isNew) {
            serial::writeCompact(name.size(), out_);
            out_.putBytes(reinterpret_cast<const unsigned char*>(name.data()), name.size());
            out_.put(serial::describe(*version.image, version.object->getVersion()), 32);
        }
    }

    std::uint32_t base_;
    serial::Entries entries_; // sorted by number
    std::map<std::string, std::size_t> classes_;
    serial::BitWriter out_;
};

} // namespace

void CommonBufferizer::State::failAt(std::uint32_t number, const SerializableObject& object,
                                     const std::string& what) {
    fail("object " + std::to_string(number) + " (" + object.getClassIdentifier().getClassName() +
         "): " + what);
}

// The entries whose objects must be looked at.
serial::Entries CommonBufferizer::State::entriesToCapture(bool onlyMarked) {
    if (!onlyMarked || areAllMarked) {
        return history.entries();
    }
    serial::Entries entries = marked;
    addReferrers(entries);
    return entries;
}

// Adds unmarked entries that refer to a removed or replaced object: they must have changed.
void CommonBufferizer::State::addReferrers(serial::Entries& entries) {
    std::map<std::uint32_t, std::uint32_t> going; // with the number of references not met yet
    for (const serial::Entry* const entry : entries) {
        const serial::Version& last = entry->last();
        if (entry->referrers > 0 && last.object && last.object.get() != entry->object.get()) {
            going.emplace(entry->number, entry->referrers);
        }
    }
    const auto refersToOne = [&going](const serial::Entry& entry) {
        bool isOne = false;
        if (const serial::Image* const image = entry.last().image.get()) {
            serial::forEachReference(*image, [&](std::uint32_t number) {
                const auto found = going.find(number);
                isOne = isOne || found != going.end();
                if (found != going.end() && --found->second == 0) {
                    going.erase(found);
                }
            });
        }
        return isOne;
    };
    for (const serial::Entry* const entry : entries) {
        if (going.empty()) {
            return;
        }
        refersToOne(*entry);
    }
    if (going.empty()) {
        return;
    }
    for (serial::Entry* const entry : history.entries()) {
        if (!entry->isMarked && refersToOne(*entry)) {
            entries.push_back(entry);
        }
    }
}

std::uint32_t CommonBufferizer::State::capture(bool onlyMarked) {
    if (history.newest().state == std::numeric_limits<std::uint32_t>::max()) {
        fail("no number is left for a state: reset begins another session");
        return 0;
    }
    auto form = std::make_unique<serial::Packing>();
    serial::Packing& packing = *form;
    packing.numbers = &history;
    serial::ObjectSerializer serializer(std::move(form), false, limits.depth);
    const serial::Entries entries = entriesToCapture(onlyMarked);
    serial::Changes changes;
    for (serial::Entry* const entry : entries) {
        if (!captureOne(*entry, packing, serializer, changes)) {
            return 0;
        }
    }
    serial::History::Line line = history.newest();
    ++line.state;
    for (const serial::Change& change : changes) {
        line.sum += change.version.sum - change.entry->last().sum;
    }
    history.append(line, changes);
    marked.clear();
    for (serial::Entry* const entry : entries) {
        entry->isMarked = false;
        history.eraseIfGone(*entry);
    }
    areAllMarked = false;
    history.keep(limits.states, limits.bytes);
    return line.state;
}

// Adds the object's new version to `changes` if it differs from the last one.
bool CommonBufferizer::State::captureOne(serial::Entry& entry, serial::Packing& packing,
                                         serial::ObjectSerializer& serializer,
                                         serial::Changes& changes) {
    const serial::Version& last = entry.last();
    if (!entry.object) {
        if (last.object) {
            changes.push_back({&entry, {}});
        }
        return true;
    }
    packing.begin();
    entry.object->serialize(serializer);
    if (isDisturbed) {
        serializer.fail(kDisturbed);
    }
    if (!serializer.isGood()) {
        failAt(entry.number, *entry.object, serializer.getError());
        return false;
    }
    const serial::Image& image = packing.image();
    if (last.object.get() != entry.object.get() || !serial::equal(*last.image, image)) {
        changes.push_back({&entry,
                           {0, entry.object, std::make_shared<const serial::Image>(image),
                            serial::sumOf(image, entry.number)}});
    }
    return true;
}

std::vector<Mail::Message> CommonBufferizer::State::write(std::uint32_t base, std::uint32_t address,
                                                          std::size_t mostBytes) {
    const serial::History::Line newest = history.newest();
    const serial::History::Line* const kept = base == 0 ? nullptr : history.findLine(base);
    const serial::History::Line line = kept == nullptr ? serial::History::Line() : *kept;
    StateWriter writer(history, line.state);
    return serial::cut({session, newest.state, newest.sum, line.state, line.sum}, writer.write(),
                       address, mostBytes);
}

} // namespace Common
