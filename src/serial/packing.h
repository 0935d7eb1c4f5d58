// The two directions of the forms for messages.
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

    // Begins another state.
    void begin();

private:
    qz::vector<std::size_t> levels_; // those that are open
    std::size_t count_ = 0;
};

// Reads a state from bits; what is not in them is taken from a base line.
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

    // What is read next stands beside a base line, or is all as it is there.
    void begin(Beside base, bool isSame);

    BitReader in;

    // How long the image may get.
    std::size_t mostCells = std::numeric_limits<std::size_t>::max();

    // What the whole has to come out as.
    std::uint32_t sum = 0;
    std::uint32_t seed = 0;

private:
    struct Level {
        std::size_t place;
        Beside base; // behind it
        bool isSame;
    };

    bool isChanged();
    bool hasRoom(std::size_t cells) const { return cells <= mostCells - image_.size(); }

    Beside base_;
    bool isSame_ = false; // nothing in this level differs from the base line
    qz::vector<Level> levels_;
};

// Reads zeros, so that a value has no items, and refers to nothing.
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
    std::size_t count_ = 0; // of numbers
};

} // namespace serial
