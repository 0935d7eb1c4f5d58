// How a serializer writes values for messages, or reads them.
#pragma once

#include "serial/image.h"

#include <cstddef>
#include <cstdint>

namespace Common {
class Identifiable;
} // namespace Common

namespace serial {

// The objects that references lead to, by the numbers that both sides know.
class Numbers {
public:
    virtual std::uint32_t numberOf(const Common::Identifiable& object) const = 0; // 0: has none
    virtual Common::Identifiable* objectOf(std::uint32_t number) const = 0;       // null: none

protected:
    ~Numbers() = default;
};

} // namespace serial

namespace Common::detail {

// The functions with a result return what is wrong, or null.
class Form {
public:
    virtual ~Form() = default;
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    // What belongs to the kind of a field.
    std::uint32_t describe(const char* name, std::uint64_t meaning) {
        return descriptions_.of(name, meaning);
    }

    // A number of a kind; one that is written has no more bits.
    virtual const char* number(std::uint64_t& value, std::uint32_t kind) = 0;
    virtual const char* row(unsigned char* bytes, std::size_t size, std::uint32_t kind) = 0;

    // Around the values within another.
    virtual const char* open(std::uint32_t kind) = 0;
    virtual const char* close() = 0;

    // Writing: how many values there are, those that only have others within left out. Reading: how
    // many there can be, and how many bytes the next row can have.
    virtual std::size_t count() const = 0;
    virtual std::size_t bytesAhead() const = 0;

    // After the last value.
    virtual const char* finish() = 0;

    const serial::Image& image() const { return image_; }

    // Null where there are no references.
    const serial::Numbers* numbers = nullptr;

    // What a class finds wrong does not keep it from the values behind.
    bool ignoresErrors = false;

protected:
    Form() = default;

    void add(std::uint64_t value, std::uint32_t kind) { image_.push_back({value, kind, 1}); }

    // A row's cells, all zero; the bytes go into them.
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

    serial::Image image_; // of what was written or read

private:
    serial::Descriptions descriptions_;
};

} // namespace Common::detail
