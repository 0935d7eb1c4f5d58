// Which objects were met, by their addresses.
#pragma once

#include "Common/Allocator.h"

#include <cstddef>
#include <cstdint>

namespace serial {

// Open addressing: an object graph is looked up once a reference, which should not cost a block of
// memory each.
class PointerTable {
public:
    // The number kept with an address; if there is none yet, `number` is kept with it from now on,
    // and returned. Not 0. Throws std::bad_alloc.
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
        std::uint32_t number; // 0: nothing here
    };

    Slot& slotFor(const void* address) {
        constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15; // 2^64 divided by the golden ratio
        const std::size_t mask = slots_.size() - 1;
        const std::uint64_t hash = reinterpret_cast<std::uintptr_t>(address) * kSpread;
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

    qz::vector<Slot> slots_; // a power of two of them, at most half of them used
    std::size_t count_ = 0;
};

} // namespace serial
