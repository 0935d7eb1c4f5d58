#include "printable.h"

namespace {

// Bytes of the character in front, if it is one beyond ASCII that terminals only draw; else 0.
std::size_t lengthOfDrawn(std::string_view text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto isBetween = [](unsigned char byte, int first, int last) {
        return byte >= first && byte <= last;
    };
    const unsigned char lead = byteAt(0);
    const std::size_t length = isBetween(lead, 0xC2, 0xDF)   ? 2
                               : isBetween(lead, 0xE0, 0xEF) ? 3
                               : isBetween(lead, 0xF0, 0xF4) ? 4
                                                             : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    // The least second byte excludes the second set of control characters, and longer forms of
    // shorter characters, which some terminals take for them.
    const int least = lead == 0xC2 || lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isBetween(byteAt(i), i == 1 ? least : 0x80, 0xBF)) {
            return 0;
        }
    }
    return length;
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
        } else if (byte == '\t' || (byte >= 0x20 && byte < 0x7F)) {
            shown += text.front();
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
