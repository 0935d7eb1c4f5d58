// Finds mailboxes by their addresses.
#pragma once

#include "Common/Allocator.h"
#include "Mail/Server.h"
#include "core/probe_table.h"
#include "core/spread.h"

#include <cstddef>
#include <cstdint>

namespace Mail {

class AddressIndex {
public:
    // Null if no mailbox has the address.
    Mailbox* find(std::uint32_t address) const {
        const Slot* const slot = slotOf(address);
        return slot == nullptr ? nullptr : slot->mailbox;
    }

    // The address must not be in the table yet. Throws std::bad_alloc.
    void add(std::uint32_t address, Mailbox* mailbox) {
        table_.makeRoom();
        table_.fill(table_.slotFor(hashOf(address), Has{address}), {mailbox, address});
    }

    // Does nothing if the address is not in the table.
    void remove(std::uint32_t address) {
        if (const Slot* const slot = slotOf(address)) {
            table_.remove(*slot);
        }
    }

    void clear() { table_ = {}; }

    std::size_t size() const { return table_.size(); }

    // The invariants near an address that was added or removed.
    void checkNear(std::uint32_t address) const { table_.checkNear(hashOf(address)); }

    // The invariants of all. Returns how many slots there are.
    std::size_t check() const { return table_.check(); }

private:
    // The upper half of the product depends on all bits of the address.
    static std::size_t hashOf(std::uint32_t address) { return (address * core::kSpread) >> 32; }

    struct Slot {
        Mailbox* mailbox = nullptr;
        std::uint32_t address = 0;

        bool isFree() const { return mailbox == nullptr; }
        std::size_t hash() const { return hashOf(address); }
    };

    struct Has {
        std::uint32_t address;
        bool operator()(const Slot& slot) const { return slot.address == address; }
    };

    const Slot* slotOf(std::uint32_t address) const {
        return table_.find(hashOf(address), Has{address});
    }

    core::ProbeTable<qz::vector<Slot>> table_;
};

} // namespace Mail
