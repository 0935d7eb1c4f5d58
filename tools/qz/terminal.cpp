#include "terminal.h"

#include "failure.h"
#include "printable.h"

#include "platform/terminal.h"

#include <cstdlib>

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool showsColours(std::FILE* stream) {
    return takesCommands(stream) && !isSet("NO_COLOR");
}

bool write(std::FILE* stream, std::string_view text) {
    return platform::writeCharacters(stream, text) ||
           std::fwrite(text.data(), 1, text.size(), stream) == text.size();
}

} // namespace

// Terminals that know the codes say so in TERM; Windows' own console has no such variable.
bool takesCommands(std::FILE* stream) {
    return platform::isTerminal(stream) && isSet("TERM") &&
           std::string_view(std::getenv("TERM")) != "dumb";
}

void print(std::string_view text) {
    if (!write(stdout, text)) {
        throw Failure("standard output cannot be written");
    }
}

void printError(std::string_view text) {
    write(stderr, text);
}

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
    printError("qz: " + red(stderr, "error:") + " " + shown(problem) + "\n");
}
