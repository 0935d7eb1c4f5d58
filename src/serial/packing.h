// The forms that write and read values for messages.
#pragma once

#include "serial/form.h"

#include <cstddef>
#include <limits>

namespace serial {

// Reads what writeCompact wrote; returns what is wrong, or null.
const char* readCompact(BitReader& in, std::uint64_t& value);

// Collects the values of a state.
class Packing final : public Common::detail::Form {
public:
    const char* number(std::uint64_t& value, std::uint32_t kind) override;
    const char* row(unsigned char* bytes, std::size_t size, std::uint32_t kind) override;
    const char* open(std::uint32_t kind) override;
    const char* close() override;
    std::size_t count() const override { return count_; }
    std::size_t bytesAhead() const override { return 0; }
    const char* finish() override { return nullptr; }

    // Begins another image.
    void begin();

private:
    qz::vector<std::size_t> levels_; // open levels: the places of their cells
    std::size_t count_ = 0;
};

// Reads values from bits. Those that the bits leave out are taken from a base line.
class Unpacking final : public Common::detail::Form {
public:
    explicit Unpacking(BitReader bits) : in(bits) {}

    const char* number(std::uint64_t& value, std::uint32_t kind) override;
    const char* row(unsigned char* bytes, std::size_t size, std::uint32_t kind) override;
    const char* open(std::uint32_t kind) override;
    const char* close() override;
    std::size_t count() const override;
    std::size_t bytesAhead() const override;
    const char* finish() override;

    // Begins another image, beside a base line. `isSame`: it has the same values.
    void begin(Beside base, bool isSame);

    BitReader in;

    // The most cells that the image may have.
    std::size_t mostCells = std::numeric_limits<std::size_t>::max();

    // The sum that the image must have, and its seed.
    std::uint32_t sum = 0;
    std::uint32_t seed = 0;

private:
    struct Level {
        std::size_t place;
        Beside base; // the base line's values behind the level
        bool isSame;
    };

    bool isChanged();
    bool hasRoom(std::size_t cells) const { return cells <= mostCells - image_.size(); }

    Beside base_;
    bool isSame_ = false; // nothing in this level differs from the base line
    qz::vector<Level> levels_;
};

// Reads only zeros, which empties an object: its lists have no items, and its references are null.
class Clearing final : public Common::detail::Form {
public:
    Clearing() { ignoresErrors = true; }

    const char* number(std::uint64_t& value, std::uint32_t kind) override;
    const char* row(unsigned char* bytes, std::size_t size, std::uint32_t kind) override;
    const char* open(std::uint32_t /*kind*/) override { return nullptr; }
    const char* close() override { return nullptr; }
    std::size_t count() const override { return 0; }
    std::size_t bytesAhead() const override { return 0; }
    const char* finish() override { return nullptr; }

private:
    std::size_t count_ = 0; // of numbers read
};

} // namespace serial
