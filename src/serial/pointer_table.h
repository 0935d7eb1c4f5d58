// A table from the addresses of objects to their numbers.
#pragma once

#include "Common/Allocator.h"
#include "core/probe_table.h"
#include "core/spread.h"

#include <cstddef>
#include <cstdint>

namespace serial {

// There is a look-up for each reference in an object graph.
class PointerTable {
public:
    // The number of an address. If the address is not in the table, adds it with `number`, which is
    // not 0, and returns that. Throws std::bad_alloc.
    std::uint32_t findOrAdd(const void* address, std::uint32_t number) {
        table_.makeRoom();
        const Slot wanted{address, number};
        Slot& slot = table_.slotFor(
            wanted.hash(), [address](const Slot& other) { return other.address == address; });
        if (slot.isFree()) {
            table_.fill(slot, wanted);
        }
        return slot.number;
    }

private:
    struct Slot {
        const void* address = nullptr;
        std::uint32_t number = 0;

        bool isFree() const { return number == 0; }
        std::size_t hash() const {
            return (reinterpret_cast<std::uintptr_t>(address) * core::kSpread) >> 32;
        }
    };

    core::ProbeTable<qz::vector<Slot>> table_;
};

} // namespace serial
