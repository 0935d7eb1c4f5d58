// A table from the addresses of objects to their numbers.
#pragma once

#include "Common/Allocator.h"
#include "core/spread.h"

#include <cstddef>
#include <cstdint>

namespace serial {

// A hash table with open addressing: there is a look-up for each reference in an object graph, and
// none should allocate a block of memory.
class PointerTable {
public:
    // The number of an address. If the address is not in the table, adds it with `number`, which is
    // not 0, and returns that. Throws std::bad_alloc.
    std::uint32_t findOrAdd(const void* address, std::uint32_t number) {
        if (2 * (count_ + 1) > slots_.size()) {
            grow();
        }
        Slot& slot = slotFor(address);
        if (slot.number == 0) {
            slot = {address, number};
            ++count_;
        }
        return slot.number;
    }

private:
    struct Slot {
        const void* address;
        std::uint32_t number; // 0: the slot is free
    };

    Slot& slotFor(const void* address) {
        const std::size_t mask = slots_.size() - 1;
        const std::uint64_t hash = reinterpret_cast<std::uintptr_t>(address) * core::kSpread;
        std::size_t place = (hash >> 32) & mask;
        while (slots_[place].number != 0 && slots_[place].address != address) {
            place = (place + 1) & mask;
        }
        return slots_[place];
    }

    void grow() {
        constexpr std::size_t kLeast = 64;
        qz::vector<Slot> old(slots_.empty() ? kLeast : 2 * slots_.size(), Slot{nullptr, 0});
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (slot.number != 0) {
                slotFor(slot.address) = slot;
            }
        }
    }

    qz::vector<Slot> slots_; // their number is a power of two; at most half of them are used
    std::size_t count_ = 0;
};

} // namespace serial
