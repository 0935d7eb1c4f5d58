#include "serial/image.h"

#include "Core/Hash.h"
#include "serial/serializer_state.h"

#include <algorithm>

namespace serial {

void writeCompact(std::uint64_t value, BitWriter& out) {
    for (; value >= 0x80; value >>= 7) {
        out.put((value & 0x7F) | 0x80, 8);
    }
    out.put(value, 8);
}

namespace {

void writeNumber(const Cell& cell, BitWriter& out) {
    if (isGrouped(cell.kind)) {
        writeCompact(cell.value, out);
    } else {
        out.put(cell.value, bare(cell.kind));
    }
}

const unsigned char* bytesOf(const Cell& row) {
    return reinterpret_cast<const unsigned char*>(&row + 1);
}

void writeRow(const Cell& row, const Cell* base, BitWriter& out) {
    const unsigned char* const bytes = bytesOf(row);
    if (base == nullptr) {
        out.putBytes(bytes, row.value);
        return;
    }
    for (std::size_t done = 0; done < row.value; done += kBlock) {
        const std::size_t size = std::min<std::size_t>(kBlock, row.value - done);
        const bool isChanged = std::memcmp(bytes + done, bytesOf(*base) + done, size) != 0;
        out.put(isChanged ? 1 : 0, 1);
        if (isChanged) {
            out.putBytes(bytes + done, size);
        }
    }
}

void writeCells(const Cell* cell, const Cell* end, Beside base, BitWriter& out) {
    for (; cell != end; cell += cell->span) {
        const Cell* const old = matching(base.next(), cell->kind, cell->value);
        if (cell->is(kRow)) {
            writeRow(*cell, old, out);
            continue;
        }
        const bool isChanged = old == nullptr || !equal(*cell, *old);
        if (old != nullptr) {
            out.put(isChanged ? 1 : 0, 1);
        }
        if (isChanged && cell->is(kLevel)) {
            writeCells(cell + 1, cell + cell->span, old == nullptr ? Beside() : Beside(*old), out);
        } else if (isChanged) {
            writeNumber(*cell, out);
        }
    }
}

} // namespace

namespace {

// The first reference from a cell on, or `end`.
const Cell* findReference(const Cell* cell, const Cell* end) {
    while (cell != end && !cell->is(kReference)) {
        cell = cell->next();
    }
    return cell;
}

} // namespace

bool haveSameReferences(const Image& a, const Image& b) {
    const Cell* const endA = a.data() + a.size();
    const Cell* const endB = b.data() + b.size();
    const Cell* inA = findReference(a.data(), endA);
    const Cell* inB = findReference(b.data(), endB);
    while (inA != endA && inB != endB && inA->value == inB->value) {
        inA = findReference(inA + 1, endA);
        inB = findReference(inB + 1, endB);
    }
    return inA == endA && inB == endB;
}

void write(const Image& image, Beside base, BitWriter& out) {
    writeCells(image.data(), image.data() + image.size(), base, out);
}

std::uint32_t Descriptions::describe(const char* name, std::uint64_t meaning) {
    unsigned char bytes[sizeof meaning];
    putFixed(bytes, meaning);
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(bytes, sizeof bytes, 0));
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    return static_cast<std::uint32_t>(QZ_hash_data(name, length, seed)) << kDescriptionShift;
}

std::uint32_t describe(const Image& image, std::uint32_t version) {
    Bytes kinds;
    const Cell* const end = image.data() + image.size();
    for (const Cell* cell = image.data(); cell != end; cell = cell->next()) {
        kinds.resize(kinds.size() + sizeof cell->kind);
        putFixed(kinds.data() + kinds.size() - sizeof cell->kind, cell->kind);
    }
    return static_cast<std::uint32_t>(QZ_hash_data(kinds.data(), kinds.size(), version));
}

std::uint32_t sumOf(const Image& image, std::uint32_t seed) {
    return static_cast<std::uint32_t>(
        QZ_hash_data(image.data(), image.size() * sizeof(Cell), seed));
}

} // namespace serial
