#include "field_text.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace {

using Common::FieldKind;

std::uint64_t fixedOf(Bytes bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        value |= std::uint64_t{bytes[i]} << 8 * i;
    }
    return value;
}

// The shortest that is read back as the same number.
template<class Real>
std::string realOf(Real value) {
    if (!std::isfinite(value)) {
        return std::isnan(value) ? "\"nan\"" : value > 0 ? "\"inf\"" : "\"-inf\"";
    }
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

} // namespace

bool isNumber(FieldKind kind) {
    return kind < FieldKind::kRow;
}

std::string_view typeOf(const Common::Field& field) {
    constexpr std::string_view kTypes[] = {"",       "bool",     "character", "signed byte", "byte",
                                           "signed", "unsigned", "float",     "double"};
    const bool isText = field.kind == FieldKind::kRow && field.element == FieldKind::kCharacter;
    const bool isRow = field.kind == FieldKind::kRow || field.kind == FieldKind::kFixedRow;
    FieldKind kind = isRow ? field.element : field.kind;
    if (!isRow && !field.fields.empty()) {
        kind = field.fields[0].kind;
        for (const Common::Field& inner : field.fields) {
            kind = inner.name.empty() && inner.kind == kind ? kind : FieldKind::kReference;
        }
    }
    return isText || !isNumber(kind) ? "" : kTypes[static_cast<std::size_t>(kind)];
}

std::string numberOf(FieldKind kind, Bytes bytes) {
    switch (kind) {
    case FieldKind::kBool:
        return bytes[0] == 0 ? "false" : "true";
    case FieldKind::kFloat:
        return realOf(std::bit_cast<float>(static_cast<std::uint32_t>(fixedOf(bytes))));
    case FieldKind::kDouble:
        return realOf(std::bit_cast<double>(fixedOf(bytes)));
    case FieldKind::kSigned: {
        const std::uint64_t bits = compactOf(bytes);
        return std::to_string(static_cast<std::int64_t>(bits >> 1U ^ (0 - (bits & 1U))));
    }
    case FieldKind::kUnsigned:
        return std::to_string(compactOf(bytes));
    case FieldKind::kSignedByte:
        return std::to_string(static_cast<std::int8_t>(bytes[0]));
    default:
        return std::to_string(bytes[0]);
    }
}

std::string numbersOf(const Common::Field& row, Bytes bytes, std::size_t most) {
    const std::size_t size = sizeOfElement(row.element);
    const std::size_t count = bytes.size() / size;
    std::string text;
    for (std::size_t i = 0; i < count && i < most; ++i) {
        text += (i == 0 ? "" : ", ") + numberOf(row.element, bytes.subspan(i * size, size));
    }
    return count <= most ? text : text + ", ... " + std::to_string(count - most) + " more";
}
