#include "platform/win32/wide.h"

#include <windows.h>

#include <climits>
#include <cstring>

namespace platform {

namespace {

int asInt(std::size_t size) {
    return size > INT_MAX ? INT_MAX : static_cast<int>(size);
}

} // namespace

bool toWide(const char* text, wchar_t* buffer, std::size_t units) {
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, -1, buffer, asInt(units)) > 0) {
        return true;
    }
    if (units > 0) {
        buffer[0] = 0;
    }
    return false;
}

bool fromWide(const wchar_t* text, char* buffer, std::size_t size) {
    if (WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, -1, buffer, asInt(size), nullptr,
                            nullptr) > 0) {
        return true;
    }
    if (size > 0) {
        buffer[0] = 0;
    }
    return false;
}

std::size_t toWideForDisplay(const char* text, wchar_t* buffer, std::size_t units) {
    // A UTF-8 text has at most as many UTF-16 units as bytes, so cutting the bytes is enough.
    const std::size_t bytes = strnlen(text, units - 1);
    const int written = bytes == 0 ? 0
                                   : MultiByteToWideChar(CP_UTF8, 0, text, static_cast<int>(bytes),
                                                         buffer, asInt(units - 1));
    buffer[written] = 0;
    return static_cast<std::size_t>(written);
}

} // namespace platform
