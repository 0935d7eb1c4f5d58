// Finds mailboxes by their addresses.
#pragma once

#include "Common/Allocator.h"
#include "Mail/Server.h"

#include <cstddef>
#include <cstdint>

namespace Mail {

// A hash table without lists: a mailbox is in the first slot that was free from its address's own
// on.
class AddressIndex {
public:
    // Null if there is none.
    Mailbox* find(std::uint32_t address) const;

    // For an address that is not in it. Throws std::bad_alloc.
    void add(std::uint32_t address, Mailbox* mailbox);

    // Does nothing for an address that is not in it.
    void remove(std::uint32_t address);

    void clear();

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

    qz::vector<Slot> slots_; // a power of two of them, and some are free; or none at all
    std::size_t used_ = 0;
};

} // namespace Mail
