#include "printable.h"

#include <cstdio>

namespace {

// Marks that are not drawn, but change the order of other characters: U+061C, U+200E, U+200F,
// U+202A to U+202E, U+2066 to U+2069.
bool isOrderMark(std::string_view character) {
    const auto last = static_cast<unsigned char>(character.back());
    if (character.starts_with("\xE2\x80")) {
        return last == 0x8E || last == 0x8F || (last >= 0xAA && last <= 0xAE);
    }
    return character.starts_with("\xE2\x81") ? last >= 0xA6 && last <= 0xA9
                                             : character == "\xD8\x9C";
}

// Length in bytes of the text's first character, if terminals only draw it; else 0.
std::size_t lengthOfDrawn(std::string_view text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto isBetween = [](unsigned char byte, int first, int last) {
        return byte >= first && byte <= last;
    };
    const unsigned char lead = byteAt(0);
    if (isBetween(lead, 0x20, 0x7E)) {
        return 1;
    }
    const std::size_t length = isBetween(lead, 0xC2, 0xDF)   ? 2
                               : isBetween(lead, 0xE0, 0xEF) ? 3
                               : isBetween(lead, 0xF0, 0xF4) ? 4
                                                             : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    // The least second byte excludes the second set of control characters, and overlong forms,
    // which some terminals decode as the short ones.
    const int least = lead == 0xC2 || lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isBetween(byteAt(i), i == 1 ? least : 0x80, 0xBF)) {
            return 0;
        }
    }
    return isOrderMark(text.substr(0, length)) ? 0 : length;
}

} // namespace

std::string printable(std::string_view text, std::string_view lineBreak) {
    std::string shown;
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.front());
        std::size_t length = 1;
        if (byte == '\n') {
            shown += lineBreak;
        } else if (byte == '\t') {
            shown += '\t';
        } else if (const std::size_t drawn = lengthOfDrawn(text); drawn != 0) {
            shown += text.substr(0, drawn);
            length = drawn;
        } else {
            shown += '?';
        }
        text.remove_prefix(length);
    }
    return shown;
}

std::string shown(std::string_view name) {
    std::string text;
    while (!name.empty()) {
        const std::size_t drawn = lengthOfDrawn(name);
        if (drawn != 0) {
            text += name.substr(0, drawn);
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(name.front()));
            text += code;
        }
        name.remove_prefix(drawn != 0 ? drawn : 1);
    }
    return text;
}

std::string quoted(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return '"' + shown(escaped) + '"';
}
