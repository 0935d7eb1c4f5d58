/* The host's own use of the log. */
#ifndef QZ_HOST_LOGGING_H
#define QZ_HOST_LOGGING_H

#include "Core/Export.h"

#include <string>

/* The host's name for programs that watch it: qz log follow qz_host, qz top qz_host. */
inline constexpr char kProgram[] = "qz_host";

/* Logs a formatted message of the host itself. */
void hostLog(unsigned int level, const char* format, ...) QZ_PRINTF_LIKE(2, 3);

/* Logs a text line by line: a message is cut at 383 bytes, and a traceback has more. */
void logLines(const char* module, unsigned int level, const char* text) noexcept;

/* Opens "host.log" for the messages of all modules. Returns false if it cannot be written. */
bool startLog(const std::string& directory);

struct LogOutput {
    std::string name;
    std::string module;      // empty: all modules
    unsigned int levels = 0; // their sum
};

void openOutput(const LogOutput& output);

/* Opens "script.log" for the script's messages only. It includes TRACE, as no other output does. */
void logScript(const std::string& module);

#endif
