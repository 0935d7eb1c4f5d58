#include "Core/Utf8.h"

#include <cstddef>
#include <cstdint>

namespace {

constexpr std::uint32_t kReplacement = '?';

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

} // namespace

uint32_t UTF8_getc(const char** text, size_t available) {
    if (available == 0) {
        return 0;
    }
    const auto lead = static_cast<unsigned char>(*(*text)++);
    if (lead < 0x80) {
        return lead;
    }
    if (isContinuation(lead)) {
        return kReplacement;
    }
    // The first group goes to the lowest bits, each further one above it. There are at most seven
    // groups, after the lead byte FF. Bits beyond 32 are dropped.
    std::uint64_t codePoint = 0;
    unsigned shift = 0;
    unsigned more = 0x40; // the lead's bit that announces the next continuation byte
    while ((lead & more) != 0) {
        if (--available == 0) {
            return 0;
        }
        const auto byte = static_cast<unsigned char>(*(*text)++);
        if (!isContinuation(byte)) {
            return byte == 0 ? 0 : kReplacement;
        }
        codePoint |= std::uint64_t{byte & 0x3Fu} << shift;
        shift += 6;
        more >>= 1;
    }
    const unsigned payload = more == 0 ? 0 : lead & (more - 1);
    return static_cast<std::uint32_t>(codePoint | std::uint64_t{payload} << shift);
}

size_t UTF8_putc(char** output, size_t room, uint32_t code_point) {
    static constexpr std::uint32_t kLimits[] = {0x80, 0x800, 0x10000, 0x200000};
    static constexpr unsigned kLeads[] = {0x00, 0xC0, 0xE0, 0xF0};
    if (code_point >= kLimits[3]) {
        code_point = kReplacement;
    }
    std::size_t length = 1;
    while (code_point >= kLimits[length - 1]) {
        ++length;
    }
    if (room < length) {
        return 0;
    }
    for (std::size_t i = length - 1; i > 0; --i) {
        (*output)[i] = static_cast<char>(0x80 | (code_point & 0x3F));
        code_point >>= 6;
    }
    (*output)[0] = static_cast<char>(kLeads[length - 1] | code_point);
    *output += length;
    return length;
}

size_t UTF8_strlen(const char* text) {
    std::size_t count = 0;
    while (*text != '\0') {
        const auto lead = static_cast<unsigned char>(*text);
        int length = 1;
        if ((lead & 0xE0) == 0xC0) {
            length = 2;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
        }
        for (; length > 0 && *text != '\0'; --length) {
            ++text;
        }
        ++count;
    }
    return count;
}
