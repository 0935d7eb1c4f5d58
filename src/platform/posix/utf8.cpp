#include "platform/posix/utf8.h"

#include <cstdint>

namespace platform {

namespace {

struct Sequence {
    std::size_t length;
    std::uint32_t lowest; // a smaller code point would be an overlong form
};

std::optional<Sequence> sequenceOf(unsigned char lead) {
    if (lead < 0x80) {
        return Sequence{1, 0};
    }
    if (lead >= 0xC0 && lead < 0xE0) {
        return Sequence{2, 0x80};
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        return Sequence{3, 0x800};
    }
    if (lead >= 0xF0 && lead < 0xF8) {
        return Sequence{4, 0x10000};
    }
    return std::nullopt;
}

bool isScalarValue(std::uint32_t codePoint) {
    return codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
}

// The code point at the front of the text, which holds the whole sequence; nothing if a byte is
// wrong.
std::optional<std::uint32_t> decode(std::string_view text, Sequence sequence) {
    const auto lead = static_cast<unsigned char>(text[0]);
    std::uint32_t codePoint = sequence.length == 1 ? lead : lead & (0x7Fu >> sequence.length);
    for (std::size_t i = 1; i < sequence.length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return std::nullopt;
        }
        codePoint = codePoint << 6 | (byte & 0x3Fu);
    }
    return codePoint;
}

} // namespace

std::optional<std::size_t> utf16Length(std::string_view text) {
    std::size_t units = 0;
    while (!text.empty()) {
        const auto sequence = sequenceOf(static_cast<unsigned char>(text[0]));
        if (!sequence || sequence->length > text.size()) {
            return std::nullopt;
        }
        const auto codePoint = decode(text, *sequence);
        if (!codePoint || *codePoint < sequence->lowest || !isScalarValue(*codePoint)) {
            return std::nullopt;
        }
        units += *codePoint < 0x10000 ? 1u : 2u;
        text.remove_prefix(sequence->length);
    }
    return units;
}

} // namespace platform
