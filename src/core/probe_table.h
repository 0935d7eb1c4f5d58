// A hash table with linear probing.
#pragma once

#include "core/invariant.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>

namespace core {

// An entry has the first free slot from its own slot on, which its hash says. So there is no block
// of memory for each entry, and a look-up touches a cache line or two.
//
// A Slot that is new is free, and has isFree(); one that is not free has hash(). `Slots` is the
// vector of them.
template<class Slots>
class ProbeTable {
public:
    using Slot = typename Slots::value_type;

    // How many entries there are.
    std::size_t size() const { return size_; }

    // Makes room for that many entries: at most half of the slots are ever used. Throws
    // std::bad_alloc, and has changed nothing then.
    void reserve(std::size_t entries) {
        if (2 * entries > slots_.size()) {
            grow(std::bit_ceil(std::max(kLeastSlots, 2 * entries)));
        }
    }

    // Makes room for one more.
    void makeRoom() { reserve(size_ + 1); }

    // The slot of the entry that isIt(slot) is true of, or else the free one that it would take.
    // There must be room for one more entry.
    template<class IsIt>
    Slot& slotFor(std::size_t hash, const IsIt& isIt) {
        return slots_[placeFor(hash, isIt)];
    }

    // The slot that an entry would take which is not in the table.
    Slot& freeSlotFor(std::size_t hash) {
        return slotFor(hash, [](const Slot&) { return false; });
    }

    // Puts an entry into the free slot that slotFor has found for it.
    void fill(Slot& slot, const Slot& entry) {
        slot = entry;
        ++size_;
    }

    // The slot of the entry that isIt(slot) is true of, or null.
    template<class IsIt>
    const Slot* find(std::size_t hash, const IsIt& isIt) const {
        if (slots_.empty()) {
            return nullptr;
        }
        const Slot& slot = slots_[placeFor(hash, isIt)];
        return slot.isFree() ? nullptr : &slot;
    }

    // How many slots a search for an entry of that hash passes before this one.
    std::size_t stepsTo(const Slot& slot, std::size_t hash) const {
        return (placeOf(slot) - hash) & mask();
    }

    // Frees a slot. Entries in the slots that follow move up into the gap where they may: a search
    // ends at the first free slot.
    void remove(const Slot& slot) {
        std::size_t gap = placeOf(slot);
        for (std::size_t at = next(gap); !slots_[at].isFree(); at = next(at)) {
            if (stepsTo(slots_[at], slots_[at].hash()) >= ((at - gap) & mask())) {
                slots_[gap] = slots_[at];
                gap = at;
            }
        }
        slots_[gap] = Slot();
        --size_;
    }

    void swap(ProbeTable& other) noexcept {
        slots_.swap(other.slots_);
        std::swap(size_, other.size_);
    }

    // The invariants of the entries near the own slot of one that was added or removed.
    void checkNear(std::size_t hash) const {
        invariant(2 * size_ <= slots_.size(), "a hash table: too few free slots");
        for (std::size_t at = hash & mask(); size_ != 0 && !slots_[at].isFree(); at = next(at)) {
            checkPlace(at);
        }
    }

    // The invariants of all entries. Returns how many slots there are.
    std::size_t check() const {
        invariant(slots_.empty() || std::has_single_bit(slots_.size()),
                  "a hash table: the number of slots is no power of two");
        std::size_t used = 0;
        for (std::size_t at = 0; at < slots_.size(); ++at) {
            if (!slots_[at].isFree()) {
                checkPlace(at);
                ++used;
            }
        }
        invariant(used == size_, "a hash table: the entries are not as many as were counted");
        return slots_.size();
    }

private:
    static constexpr std::size_t kLeastSlots = 32;

    std::size_t mask() const { return slots_.size() - 1; }
    std::size_t next(std::size_t place) const { return (place + 1) & mask(); }
    std::size_t placeOf(const Slot& slot) const {
        return static_cast<std::size_t>(&slot - slots_.data());
    }

    template<class IsIt>
    std::size_t placeFor(std::size_t hash, const IsIt& isIt) const {
        std::size_t place = hash & mask();
        while (!slots_[place].isFree() && !isIt(slots_[place])) {
            place = next(place);
        }
        return place;
    }

    void checkPlace(std::size_t place) const {
        const auto isHere = [&](const Slot& slot) { return &slot == &slots_[place]; };
        invariant(placeFor(slots_[place].hash(), isHere) == place,
                  "a hash table: an entry is where nobody finds it");
    }

    void grow(std::size_t size) {
        Slots old(size);
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (!slot.isFree()) {
                freeSlotFor(slot.hash()) = slot;
            }
        }
    }

    Slots slots_; // empty, or a power of two of slots; at least half of them are free
    std::size_t size_ = 0;
};

} // namespace core
