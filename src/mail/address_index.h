// Finds mailboxes by their addresses.
#pragma once

#include "Common/Allocator.h"
#include "Mail/Server.h"
#include "core/invariant.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Mail {

// A hash table with linear probing: a mailbox goes into the first free slot from its address's own
// slot on.
class AddressIndex {
public:
    // Null if no mailbox has the address.
    Mailbox* find(std::uint32_t address) const;

    // The address must not be in the table yet. Throws std::bad_alloc.
    void add(std::uint32_t address, Mailbox* mailbox);

    // Does nothing if the address is not in the table.
    void remove(std::uint32_t address);

    void clear();

    std::size_t size() const { return used_; }

    // The invariants: near an address that was added or removed, or of all, which returns how many
    // slots there are.
    void check(std::uint32_t address) const;
    std::size_t check() const;

private:
    struct Slot {
        Mailbox* mailbox; // null: free
        std::uint32_t address;
    };

    std::size_t ownSlot(std::uint32_t address) const;
    std::size_t next(std::size_t slot) const { return (slot + 1) & (slots_.size() - 1); }
    std::size_t distance(std::size_t from, std::size_t to) const;
    std::size_t slotOf(std::uint32_t address) const;
    void grow();
    void checkSlot(std::size_t slot) const;

    qz::vector<Slot> slots_; // empty, or a power of two of slots, some of them free
    std::size_t used_ = 0;
};

inline void AddressIndex::checkSlot(std::size_t slot) const {
    core::invariant(slots_[slot].mailbox == nullptr || slotOf(slots_[slot].address) == slot,
                    "AddressIndex: a mailbox is where nobody finds it");
}

inline void AddressIndex::check(std::uint32_t address) const {
    core::invariant(used_ * 3 <= slots_.size() * 2, "AddressIndex: too few free slots");
    if (used_ == 0) {
        return;
    }
    for (std::size_t slot = ownSlot(address); slots_[slot].mailbox != nullptr; slot = next(slot)) {
        checkSlot(slot);
    }
}

inline std::size_t AddressIndex::check() const {
    core::invariant(slots_.empty() || std::has_single_bit(slots_.size()),
                    "AddressIndex: the number of slots is no power of two");
    std::size_t used = 0;
    for (std::size_t slot = 0; slot < slots_.size(); ++slot) {
        checkSlot(slot);
        used += slots_[slot].mailbox == nullptr ? 0U : 1U;
    }
    core::invariant(used == used_, "AddressIndex: the mailboxes are not as many as were counted");
    return slots_.size();
}

} // namespace Mail
