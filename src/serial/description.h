// Describes a field beyond its bits, so that two sides notice if their classes differ.
#pragma once

#include "core/spread.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace serial {

// What the bits of a field mean. For a number with a range, rangeOf returns the meaning.
constexpr std::uint64_t kPlain = 0;
constexpr std::uint64_t kSigned = 1;
constexpr std::uint64_t kBool = 2;
constexpr std::uint64_t kHalf = 3;
constexpr std::uint64_t kBytes = 4; // a float, or a short row
constexpr std::uint64_t kSignedByte = 5;

inline std::uint64_t rangeOf(double lowest, double highest) {
    return std::bit_cast<std::uint64_t>(lowest) * core::kSpread +
           std::bit_cast<std::uint64_t>(highest);
}

// The low 8 bits of a value's kind say how it is written; the bits above are its description.
constexpr unsigned kDescriptionShift = 8;

// Caches the hashes of names and meanings. A name is looked up by its address.
class Descriptions {
public:
    // The description, in the bits above the lowest 8. The name may be null.
    std::uint32_t of(const char* name, std::uint64_t meaning) {
        constexpr unsigned kUnused = 64 - std::bit_width(kSlots - 1);
        const std::uint64_t key = reinterpret_cast<std::uintptr_t>(name) ^ meaning;
        Slot& slot = slots_[static_cast<std::size_t>(key * core::kSpread >> kUnused)];
        if (!slot.isUsed || slot.name != name || slot.meaning != meaning) {
            slot = {name, meaning, describe(name, meaning), true};
        }
        return slot.description;
    }

private:
    static constexpr std::size_t kSlots = 64;

    struct Slot {
        const char* name;
        std::uint64_t meaning;
        std::uint32_t description;
        bool isUsed;
    };

    static std::uint32_t describe(const char* name, std::uint64_t meaning);

    std::array<Slot, kSlots> slots_{};
};

} // namespace serial
