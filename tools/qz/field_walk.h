// The values of a record, one after the other, by what its file says of them.
#pragma once

#include "Serial/Field.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

using Bytes = std::span<const unsigned char>;

// Keeps a list of its own instead of calling itself, and no more than it is at: a record may be as
// large as its file.
class FieldWalk {
public:
    enum class Step {
        kEnd,   // of what the file tells, or of what is in the record
        kBegin, // of a group or a list
        kClose,
        kValue,  // a number or a row
        kAbsent, // an optional value
        kReference
    };

    FieldWalk(const Common::Field& values, Bytes bytes, std::size_t references);

    Step next();

    // Of the last step but kEnd and kClose: what it is, what it is called, and its bytes.
    const Common::Field& field() const { return *field_; }
    const std::string& name() const { return *name_; }
    std::size_t item() const { return item_; }   // its number in a list, from 1; 0 in a group
    std::size_t count() const { return count_; } // of the items of a list
    Bytes value() const { return value_; }

    // What was not told.
    Bytes rest() const { return bytes_; }

private:
    struct Open {
        const Common::Field* field;
        std::size_t count; // of fields or of items
        std::size_t done;
        std::size_t left; // bytes and references, at the beginning of the item
    };

    Step close();
    Step take(const Common::Field& field);
    Step takeRow(const Common::Field& field, std::uint64_t count);
    Step takeList(const Common::Field& field);
    Step takeOptional(const Common::Field& field);
    Step takeCompact();
    Step takeValue(std::size_t size);
    Step stop();
    bool readCompact(std::uint64_t& value);

    Bytes bytes_;
    Bytes before_; // the last step
    std::size_t references_;
    std::vector<Open> open_;
    const Common::Field* field_ = nullptr;
    const std::string* name_ = nullptr;
    std::size_t item_ = 0;
    std::size_t count_ = 0;
    Bytes value_;
};

// A number as CommonSerializer writes it in as many bytes as it needs, seven bits each.
std::uint64_t compactOf(Bytes bytes);

// How many bytes a row's element has.
std::size_t sizeOfElement(Common::FieldKind kind);
