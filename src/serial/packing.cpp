#include "serial/packing.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace serial {

namespace {

constexpr char kTooShort[] = "the state ends before the value";
constexpr char kMisfit[] = "a value that is another in the base line";
constexpr char kTooLarge[] = "a state that is too large";
constexpr char kOtherClass[] =
    "a state that is not what was sent: the classes of the two sides differ, perhaps";
constexpr char kTooLong[] = "a value that its type does not have";

} // namespace

const char* readCompact(BitReader& in, std::uint64_t& value) {
    value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
        if (in.left() < 8) {
            return kTooShort;
        }
        const std::uint64_t group = in.get(8);
        value |= (group & 0x7F) << shift;
        if (group < 0x80) {
            return shift == 63 && group > 1 ? kTooLong : nullptr;
        }
    }
    return kTooLong;
}

const char* Packing::number(std::uint64_t& value, std::uint32_t kind) {
    add(value, kind);
    ++count_;
    return nullptr;
}

const char* Packing::row(unsigned char* bytes, std::size_t size, std::uint32_t kind) {
    constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
    if (size > kMost || image_.size() > kMost / 2) {
        return kTooLarge;
    }
    std::memcpy(addRow(size, kind), bytes, size);
    ++count_;
    return nullptr;
}

const char* Packing::open(std::uint32_t kind) {
    levels_.push_back(image_.size());
    add(0, kind);
    return nullptr;
}

const char* Packing::close() {
    closeAt(levels_.back());
    levels_.pop_back();
    return nullptr;
}

void Packing::begin() {
    image_.clear();
    levels_.clear();
    count_ = 0;
}

void Unpacking::begin(Beside base, bool isSame) {
    base_ = base;
    isSame_ = isSame;
    levels_.clear();
    image_.clear();
}

// Reads the bit in front of a value that the base line has, too. At least one bit must be left.
bool Unpacking::isChanged() {
    return in.get(1) != 0;
}

const char* Unpacking::number(std::uint64_t& value, std::uint32_t kind) {
    if (!hasRoom(1)) {
        return kTooLarge;
    }
    const Cell* const old = matching(base_.next(), kind, 0);
    if (isSame_ && old == nullptr) {
        return kMisfit;
    }
    if (old != nullptr && !isSame_ && in.left() == 0) {
        return kTooShort;
    }
    if (old != nullptr && (isSame_ || !isChanged())) {
        value = old->value;
    } else if (isGrouped(kind)) {
        if (const char* const error = readCompact(in, value)) {
            return error;
        }
    } else if (in.left() < bare(kind)) {
        return kTooShort;
    } else {
        value = in.get(bare(kind));
    }
    add(value, kind);
    return nullptr;
}

const char* Unpacking::row(unsigned char* bytes, std::size_t size, std::uint32_t kind) {
    if (!hasRoom(1 + cellsOf(size))) {
        return kTooLarge;
    }
    const Cell* const old = matching(base_.next(), kind, size);
    if (isSame_ && old == nullptr) {
        return kMisfit;
    }
    if (old == nullptr && in.left() / 8 < size) {
        return kTooShort;
    }
    unsigned char* const to = addRow(size, kind);
    if (old == nullptr) {
        in.getBytes(to, size);
    } else {
        std::memcpy(to, old + 1, size);
    }
    for (std::size_t done = 0; old != nullptr && !isSame_ && done < size; done += kBlock) {
        const std::size_t block = std::min(kBlock, size - done);
        if (in.left() == 0) {
            return kTooShort;
        }
        if (isChanged()) {
            if (in.left() / 8 < block) {
                return kTooShort;
            }
            in.getBytes(to + done, block);
        }
    }
    std::memcpy(bytes, to, size);
    return nullptr;
}

const char* Unpacking::open(std::uint32_t kind) {
    if (!hasRoom(1)) {
        return kTooLarge;
    }
    const Cell* const old = matching(base_.next(), kind, 0);
    if (isSame_ && old == nullptr) {
        return kMisfit;
    }
    if (old != nullptr && !isSame_ && in.left() == 0) {
        return kTooShort;
    }
    levels_.push_back({image_.size(), base_, isSame_});
    add(0, kind);
    isSame_ = isSame_ || (old != nullptr && !isChanged());
    base_ = old == nullptr ? Beside() : Beside(*old);
    return nullptr;
}

const char* Unpacking::close() {
    const char* const error = isSame_ && base_.peek() != nullptr ? kMisfit : nullptr;
    closeAt(levels_.back().place);
    base_ = levels_.back().base;
    isSame_ = levels_.back().isSame;
    levels_.pop_back();
    return error;
}

std::size_t Unpacking::count() const {
    return base_.left() + (isSame_ ? 0 : in.left());
}

// A row that is in the base line need not be in the bits.
std::size_t Unpacking::bytesAhead() const {
    const std::size_t inBits = isSame_ ? 0 : in.left() / 8;
    const Cell* const old = base_.peek();
    if (old == nullptr) {
        return inBits;
    }
    return std::max(inBits, old->is(kRow) ? static_cast<std::size_t>(old->value) : 8);
}

const char* Clearing::number(std::uint64_t& value, std::uint32_t /*kind*/) {
    constexpr std::size_t kMost = std::size_t{1} << 20;
    value = 0;
    ignoresErrors = ++count_ < kMost; // ends a class that would read zeros for ever
    return ignoresErrors ? nullptr : kTooLarge;
}

const char* Clearing::row(unsigned char* bytes, std::size_t size, std::uint32_t /*kind*/) {
    std::memset(bytes, 0, size);
    return nullptr;
}

const char* Unpacking::finish() {
    if (!in.isAtEnd()) {
        return "something behind the last value";
    }
    return sumOf(image_, seed) == sum ? nullptr : kOtherClass;
}

} // namespace serial
