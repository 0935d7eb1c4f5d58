// A state as a list of its values. States are compared by their images, and a base line keeps one.
#pragma once

#include "Common/Allocator.h"
#include "serial/bits.h"
#include "serial/description.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace serial {

// How a value is written. A kind from 1 to 64 is a number of that many bits.
constexpr std::uint32_t kCompact = 65;   // a number in as many groups of seven bits as it needs
constexpr std::uint32_t kRow = 66;       // `value` bytes, which are in the cells that follow
constexpr std::uint32_t kLevel = 67;     // a value that contains others, which follow
constexpr std::uint32_t kReference = 68; // an object's number, 0 for null; in groups, too

// A kind without the description above it.
constexpr std::uint32_t bare(std::uint32_t kind) {
    return kind & ((1U << kDescriptionShift) - 1);
}

constexpr bool isGrouped(std::uint32_t kind) {
    return bare(kind) == kCompact || bare(kind) == kReference;
}

// A value. It has no padding, so cells can be compared as memory.
struct Cell {
    std::uint64_t value;
    std::uint32_t kind;
    std::uint32_t span; // how many cells it takes, with those within

    bool is(std::uint32_t bareKind) const { return bare(kind) == bareKind; }

    // The value behind it, which is the first one within if it is a level.
    const Cell* next() const { return this + (is(kLevel) ? 1 : span); }
};
static_assert(sizeof(Cell) == 16);

using Image = qz::vector<Cell>;
using ImagePtr = std::shared_ptr<const Image>;

inline std::size_t cellsOf(std::size_t bytes) {
    return (bytes + sizeof(Cell) - 1) / sizeof(Cell);
}

inline bool equal(const Cell& a, const Cell& b) {
    return a.span == b.span && std::memcmp(&a, &b, a.span * sizeof(Cell)) == 0;
}

inline bool equal(const Image& a, const Image& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Cell)) == 0;
}

// Calls a function with the number of each object to which an image refers.
template<class Function>
void forEachReference(const Image& image, Function function) {
    const Cell* const end = image.data() + image.size();
    for (const Cell* cell = image.data(); cell != end; cell = cell->next()) {
        if (cell->is(kReference) && cell->value != 0) {
            function(static_cast<std::uint32_t>(cell->value));
        }
    }
}

bool haveSameReferences(const Image& a, const Image& b);

// A base line's values of a level. A state's n-th value is compared with the n-th of these.
class Beside {
public:
    Beside() = default; // no values
    explicit Beside(const Image& image) : at_(image.data()), end_(at_ + image.size()) {}

    // The values within a level.
    explicit Beside(const Cell& level) : at_(&level + 1), end_(&level + level.span) {}

    // The next value, or null.
    const Cell* peek() const { return at_ == end_ ? nullptr : at_; }
    const Cell* next() {
        const Cell* const cell = peek();
        at_ += cell == nullptr ? 0 : cell->span;
        return cell;
    }

    // The number of cells left, at least as many as values.
    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

private:
    const Cell* at_ = nullptr;
    const Cell* end_ = nullptr;
};

// The base line's value that a value can be written as a difference from: the one beside it if that
// is of the same kind and, for rows, of the same length; else null.
inline const Cell* matching(const Cell* beside, std::uint32_t kind, std::uint64_t length) {
    const bool matches = beside != nullptr && beside->kind == kind &&
                         (bare(kind) != kRow || beside->value == length);
    return matches ? beside : nullptr;
}

// Rows are compared in blocks of this many bytes.
constexpr std::size_t kBlock = 64;

// Writes an image: all of it, or what differs from the base line.
void write(const Image& image, Beside base, BitWriter& out);

void writeCompact(std::uint64_t value, BitWriter& out);

// The sum of an image, by which both sides check that theirs are the same.
std::uint32_t sumOf(const Image& image, std::uint32_t seed);

// A hash of a class's version and of the kinds of an image's values. It is the same for two objects
// of a class, unless they contain different values, such as lists of different lengths.
std::uint32_t describe(const Image& image, std::uint32_t version);

} // namespace serial
