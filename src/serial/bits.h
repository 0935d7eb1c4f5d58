// Writes and reads bits in bytes, the most significant first, as in messages.
#pragma once

#include "Common/Allocator.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

namespace serial {

using Bytes = qz::vector<unsigned char>;

class BitWriter {
public:
    // Writes the low `width` bits, 1 to 64; the others must be 0. Throws std::bad_alloc.
    void put(std::uint64_t value, unsigned width) {
        if (width > 32) {
            putField(value >> 32, width - 32);
            value = static_cast<std::uint32_t>(value);
            width = 32;
        }
        putField(value, width);
    }

    void putBytes(const unsigned char* bytes, std::size_t count) {
        if (bitCount_ == 0) {
            bytes_.insert(bytes_.end(), bytes, bytes + count);
            return;
        }
        for (std::size_t i = 0; i < count; ++i) {
            putField(bytes[i], 8);
        }
    }

    // Returns all bits, filled up with zeros to a whole byte. The writer is empty afterwards.
    Bytes take() {
        bits_ <<= 32 - bitCount_;
        for (; bitCount_ > 0; bitCount_ -= bitCount_ < 8 ? bitCount_ : 8) {
            bytes_.push_back(static_cast<unsigned char>(bits_ >> 24));
            bits_ <<= 8;
        }
        bits_ = 0;
        return std::exchange(bytes_, {});
    }

private:
    // Writes up to 32 bits.
    void putField(std::uint64_t field, unsigned width) {
        bits_ = bits_ << width | field;
        bitCount_ += width;
        if (bitCount_ >= 32) {
            bitCount_ -= 32;
            const auto word = static_cast<std::uint32_t>(bits_ >> bitCount_);
            const unsigned char bytes[4] = {
                static_cast<unsigned char>(word >> 24), static_cast<unsigned char>(word >> 16),
                static_cast<unsigned char>(word >> 8), static_cast<unsigned char>(word)};
            bytes_.insert(bytes_.end(), bytes, bytes + 4);
        }
    }

    Bytes bytes_;
    std::uint64_t bits_ = 0; // its low bitCount_ bits are still to be written
    unsigned bitCount_ = 0;  // 0 to 31
};

// Does not check for the end: ask `left` before you read.
class BitReader {
public:
    BitReader() = default;
    explicit BitReader(std::span<const unsigned char> bytes)
        : cursor_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    std::size_t left() const { return static_cast<std::size_t>(end_ - cursor_) * 8 + bitCount_; }

    // Reads `width` bits, 1 to 64. At least as many must be left.
    std::uint64_t get(unsigned width) {
        if (width <= 32) {
            return getField(width);
        }
        const std::uint64_t high = getField(width - 32);
        return high << 32 | getField(32);
    }

    void getBytes(unsigned char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            bytes[i] = static_cast<unsigned char>(getField(8));
        }
    }

    // Whether only the zeros that fill up the last byte are left.
    bool isAtEnd() const {
        return cursor_ == end_ && bitCount_ < 8 && (bits_ & ((1U << bitCount_) - 1)) == 0;
    }

private:
    std::uint64_t getField(unsigned width) {
        for (; bitCount_ < width; bitCount_ += 8) {
            bits_ = bits_ << 8 | *cursor_++;
        }
        bitCount_ -= width;
        return bits_ >> bitCount_ & ((std::uint64_t{1} << width) - 1);
    }

    const unsigned char* cursor_ = nullptr;
    const unsigned char* end_ = nullptr;
    std::uint64_t bits_ = 0; // its low bitCount_ bits were fetched and not yet read
    unsigned bitCount_ = 0;  // 0 to 7 between the calls
};

} // namespace serial
