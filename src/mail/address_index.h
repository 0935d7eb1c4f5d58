// Finds mailboxes by their addresses.
#pragma once

#include "Common/Allocator.h"
#include "Mail/Server.h"

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

    qz::vector<Slot> slots_; // empty, or a power of two of slots, some of them free
    std::size_t used_ = 0;
};

} // namespace Mail
