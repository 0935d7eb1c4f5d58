// Texts of errors.
#pragma once

#include "Core/Export.h"
#include "platform/files.h"

#include <cstdarg>
#include <cstdio>
#include <string>

namespace shm {

inline std::string format(const char* format, ...) QZ_PRINTF_LIKE(1, 2);

inline std::string format(const char* format, ...) {
    char text[1024]; // a path and a system's message
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

inline std::string textOf(platform::SystemError error) {
    char text[256];
    platform::systemErrorText(error, text, sizeof text);
    return text;
}

} // namespace shm
