#include "terminal.h"

#include <cstdlib>
#include <unistd.h> // isatty; mingw-w64 has it too

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// Terminals that know the codes say so in TERM; Windows' own console has no such variable.
bool showsColours(std::FILE* stream) {
    return isatty(fileno(stream)) != 0 && isSet("TERM") &&
           std::string_view(std::getenv("TERM")) != "dumb" && !isSet("NO_COLOR");
}

} // namespace

std::string coloured(std::FILE* stream, const char* code, std::string_view text) {
    if (!showsColours(stream)) {
        return std::string(text);
    }
    return std::string("\033[") + code + "m" + std::string(text) + "\033[0m";
}

std::string red(std::FILE* stream, std::string_view text) {
    return coloured(stream, "1;31", text);
}

std::string green(std::FILE* stream, std::string_view text) {
    return coloured(stream, "1;32", text);
}

void complain(std::string_view problem) {
    std::fprintf(stderr, "qz: %s %.*s\n", red(stderr, "error:").c_str(),
                 static_cast<int>(problem.size()), problem.data());
}
