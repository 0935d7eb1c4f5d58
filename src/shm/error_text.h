// Formats error texts.
#pragma once

#include "Core/Export.h"
#include "platform/files.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace shm {

inline std::string format(const char* format, ...) QZ_PRINTF_LIKE(1, 2);

inline std::string format(const char* format, ...) {
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length < 0 ? 0 : static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    return text;
}

inline std::string textOf(platform::SystemError error) {
    char text[256];
    platform::systemErrorText(error, text, sizeof text);
    return text;
}

} // namespace shm
