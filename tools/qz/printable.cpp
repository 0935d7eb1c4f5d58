#include "printable.h"

#include "platform/utf8_sequence.h"

#include <algorithm>
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
    const std::size_t length = platform::sequenceLength(text);
    if (length == 0) {
        return 0;
    }
    const std::string_view character = text.substr(0, length);
    return platform::isControl(character) || isOrderMark(character) ? 0 : length;
}

} // namespace

std::string printable(std::string_view text, std::string_view lineBreak) {
    std::string safe;
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.front());
        std::size_t length = 1;
        if (byte == '\n') {
            safe += lineBreak;
        } else if (byte == '\t') {
            safe += '\t';
        } else if (const std::size_t drawn = lengthOfDrawn(text); drawn != 0) {
            safe += text.substr(0, drawn);
            length = drawn;
        } else {
            safe += '?';
        }
        text.remove_prefix(length);
    }
    return safe;
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

std::size_t columnsOf(std::string_view text) {
    const auto continuations = std::ranges::count_if(text, platform::isContinuation);
    return text.size() - static_cast<std::size_t>(continuations);
}

std::string_view cut(std::string_view text, std::size_t most) {
    std::size_t columns = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        columns += platform::isContinuation(text[i]) ? 0U : 1U;
        if (columns > most) {
            return text.substr(0, i);
        }
    }
    return text;
}

std::string padded(std::string text, std::size_t width) {
    const std::size_t columns = columnsOf(text);
    text.append(columns < width ? width - columns : 0, ' ');
    return text;
}
