#include "logging.h"

#include "Core/Log.h"
#include "VFS/File.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

void hostLog(unsigned int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    qz_vlogf("HOST", level, format, arguments);
    va_end(arguments);
}

void logLines(const char* module, unsigned int level, const char* text) noexcept {
    while (*text != '\0') {
        const size_t length = std::strcspn(text, "\n");
        char line[384];
        std::snprintf(line, sizeof line, "%.*s", static_cast<int>(length), text);
        qz_log(module, level, line);
        text += text[length] == '\n' ? length + 1 : length;
    }
}

bool startLog(const std::string& directory) {
    VFS_mkdir(directory.c_str());
    return qz_log_start(directory.c_str(), "host") == 0 &&
           VFS_exists((directory + "/host.log").c_str()) != 0;
}

void openOutput(const LogOutput& output) {
    qz_log_set_output(output.name.c_str(), output.module.c_str(), output.levels);
}

void logScript(const std::string& module) {
    qz_log_set_output("script", module.c_str(), QZ_LOG_ALL | QZ_LOG_TRACE);
}
