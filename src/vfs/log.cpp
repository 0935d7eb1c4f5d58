#include "vfs/log.h"

#include <cstdarg>
#include <cstdio>

namespace vfs {

namespace {

// The second set of control characters is C2 80 to C2 9F in UTF-8.
void hideControls(char* text) {
    for (; *text != 0; ++text) {
        const auto byte = static_cast<unsigned char>(text[0]);
        const auto next = static_cast<unsigned char>(text[1]);
        if (byte < 0x20 || byte == 0x7F) {
            *text = '?';
        } else if (byte == 0xC2 && next >= 0x80 && next <= 0x9F) {
            text[0] = '?';
            text[1] = '?';
        }
    }
}

} // namespace

void logLine(unsigned int level, const char* format, ...) {
    char message[1024];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (length >= 0) {
        hideControls(message);
    }
    qz_log("VFS", level, length < 0 ? format : message);
}

} // namespace vfs
