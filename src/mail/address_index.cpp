#include "mail/address_index.h"

#include "core/spread.h"

#include <algorithm>

namespace Mail {

Mailbox* AddressIndex::find(std::uint32_t address) const {
    return slots_.empty() ? nullptr : slots_[slotOf(address)].mailbox;
}

void AddressIndex::add(std::uint32_t address, Mailbox* mailbox) {
    if ((used_ + 1) * 3 > slots_.size() * 2) {
        grow();
    }
    slots_[slotOf(address)] = {mailbox, address};
    ++used_;
}

// Mailboxes in the slots that follow move up into the gap where they may: a search for an address
// begins at its own slot and ends at the first free one.
void AddressIndex::remove(std::uint32_t address) {
    if (find(address) == nullptr) {
        return;
    }
    std::size_t gap = slotOf(address);
    for (std::size_t slot = next(gap); slots_[slot].mailbox != nullptr; slot = next(slot)) {
        if (distance(ownSlot(slots_[slot].address), slot) >= distance(gap, slot)) {
            slots_[gap] = slots_[slot];
            gap = slot;
        }
    }
    slots_[gap].mailbox = nullptr;
    --used_;
}

void AddressIndex::clear() {
    slots_ = {};
    used_ = 0;
}

// The upper half of the product depends on all bits of the address.
std::size_t AddressIndex::ownSlot(std::uint32_t address) const {
    return ((address * core::kSpread) >> 32) & (slots_.size() - 1);
}

std::size_t AddressIndex::distance(std::size_t from, std::size_t to) const {
    return (to - from) & (slots_.size() - 1);
}

// The slot that holds the address, or the free one that it would take.
std::size_t AddressIndex::slotOf(std::uint32_t address) const {
    std::size_t slot = ownSlot(address);
    while (slots_[slot].mailbox != nullptr && slots_[slot].address != address) {
        slot = next(slot);
    }
    return slot;
}

void AddressIndex::grow() {
    constexpr std::size_t kFirstSize = 16;
    qz::vector<Slot> slots(std::max(kFirstSize, slots_.size() * 2));
    slots.swap(slots_);
    for (const Slot& slot : slots) {
        if (slot.mailbox != nullptr) {
            slots_[slotOf(slot.address)] = slot;
        }
    }
}

} // namespace Mail
