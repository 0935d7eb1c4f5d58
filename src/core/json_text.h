// Texts in JSON.
#pragma once

#include "platform/utf8_sequence.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace core {

// In quotes. Bytes that are not UTF-8 become U+FFFD. Control characters are escaped, also those
// that JSON allows, because it may be printed on a terminal.
inline std::string jsonText(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = platform::sequenceLength(text);
        const std::string_view character = text.substr(0, length);
        if (length == 0) {
            json += "\xEF\xBF\xBD"; // U+FFFD
        } else if (character == "\"" || character == "\\") {
            json.append("\\").append(character);
        } else if (platform::isControl(character)) {
            const auto code = static_cast<unsigned char>(character.back());
            json.append("\\u00").append({kDigits[code >> 4U], kDigits[code & 15U]});
        } else {
            json += character;
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return json += '"';
}

} // namespace core
