// How a serializer writes values for messages, or reads them.
#pragma once

#include "serial/image.h"

#include <cstddef>
#include <cstdint>

namespace Common {
class Identifiable;
} // namespace Common

namespace serial {

// Maps objects to the numbers by which both sides know them, and back.
class Numbers {
public:
    virtual std::uint32_t numberOf(const Common::Identifiable& object) const = 0; // 0: has none
    virtual Common::Identifiable* objectOf(std::uint32_t number) const = 0;       // null: none

protected:
    ~Numbers() = default;
};

} // namespace serial

namespace Common::detail {

// Functions that return a text return what is wrong, or null.
class Form {
public:
    virtual ~Form() = default;
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    // The description of a field, which is a part of its kind.
    std::uint32_t describe(const char* name, std::uint64_t meaning) {
        return descriptions_.of(name, meaning);
    }

    // Writes or reads a number of a kind. A number that is written must fit the kind's bits.
    virtual const char* number(std::uint64_t& value, std::uint32_t kind) = 0;
    virtual const char* row(unsigned char* bytes, std::size_t size, std::uint32_t kind) = 0;

    // Called before and after the values within another value.
    virtual const char* open(std::uint32_t kind) = 0;
    virtual const char* close() = 0;

    // Writing: how many values there are, without those that only contain others. Reading: how many
    // there can be at most, and how many bytes the next row can have at most.
    virtual std::size_t count() const = 0;
    virtual std::size_t bytesAhead() const = 0;

    // Called after the last value.
    virtual const char* finish() = 0;

    const serial::Image& image() const { return image_; }

    // Null if references are not supported.
    const serial::Numbers* numbers = nullptr;

    // Errors that a class reports are ignored, so that the values behind are transferred, too.
    bool ignoresErrors = false;

protected:
    Form() = default;

    void add(std::uint64_t value, std::uint32_t kind) { image_.push_back({value, kind, 1}); }

    // Adds a row and returns its cells, all zero, for the bytes.
    unsigned char* addRow(std::size_t size, std::uint32_t kind) {
        const std::size_t cells = serial::cellsOf(size);
        add(size, kind);
        image_.back().span += static_cast<std::uint32_t>(cells);
        image_.resize(image_.size() + cells);
        return reinterpret_cast<unsigned char*>(image_.data() + image_.size() - cells);
    }

    void closeAt(std::size_t level) {
        image_[level].span = static_cast<std::uint32_t>(image_.size() - level);
    }

    serial::Image image_; // the values written or read

private:
    serial::Descriptions descriptions_;
};

} // namespace Common::detail
