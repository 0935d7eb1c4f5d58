/* What the values in a file are, where it tells. C++ only, for programs built by the library's
 * compiler.
 *
 * A file that was saved with Common::CommonSerializer::Options::namesFields has a description of
 * each class in it, which tools show: qz dump does. Loading does not need it. */
#ifndef QZCORE_SERIAL_FIELD_H
#define QZCORE_SERIAL_FIELD_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Common {

class CommonSerializer;

/* What a value is. The numbers are those of the file, docs/formats/objects.md has the bytes of
 * each. */
enum class FieldKind : std::uint8_t {
    kBool = 1,
    kCharacter = 2, /* a byte of a text */
    kSignedByte = 3,
    kUnsignedByte = 4,
    kSigned = 5, /* a compact number */
    kUnsigned = 6,
    kFloat = 7,
    kDouble = 8,
    kRow = 9,       /* a length and so many elements */
    kFixedRow = 10, /* elements, always as many */
    kGroup = 11,    /* its fields, one after the other */
    kList = 12,     /* a number of items and so many times its one field */
    kOptional = 13, /* whether its one field follows */
    kReference = 14
};

/* A field of a class, or of a value within one. */
struct Field {
    std::string name; /* empty if it has none; several may have the same */
    FieldKind kind = FieldKind::kGroup;
    FieldKind element = FieldKind::kUnsignedByte; /* of rows: a character, byte, float or double */
    std::uint32_t count = 0;                      /* of the elements of a fixed row */

    /* Of groups, lists and optional values: what is within. A list or an optional value has none if
     * nothing was ever in it. */
    std::vector<Field> fields;

    /* Whether what is behind `fields` was not the same in all objects of the class, and is not
     * described. */
    bool varies = false;

    /* For the library. */
    QZ_LOCAL void serialize(CommonSerializer& serializer);
};

/* The values of one class, which are a group. */
struct FieldsOfClass {
    std::string className; /* empty for what was saved as a whole */
    std::uint32_t version = 0;
    Field values;
};

} // namespace Common

#endif
