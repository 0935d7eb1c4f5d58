#include "terminal.h"

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

void write(std::FILE* stream, std::string_view text) {
    if (!platform::writeCharacters(stream, text)) {
        std::fwrite(text.data(), 1, text.size(), stream);
    }
}

// How many bytes of a text a terminal takes as a command: U+0080 to U+009F are some, too.
size_t commandAt(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first == 0xC2 && text.size() > 1 && static_cast<unsigned char>(text[1]) < 0xA0) {
        return 2;
    }
    return first < ' ' || first == 0x7F ? 1 : 0;
}

} // namespace

// Terminals that know the codes say so in TERM; Windows' own console has no such variable.
bool takesCommands(std::FILE* stream) {
    return platform::isTerminal(stream) && isSet("TERM") &&
           std::string_view(std::getenv("TERM")) != "dumb";
}

void print(std::string_view text) {
    write(stdout, text);
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

std::string shown(std::string_view name) {
    std::string text;
    for (size_t i = 0; i < name.size();) {
        const size_t length = commandAt(name.substr(i));
        for (const char byte : name.substr(i, length)) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(byte));
            text += code;
        }
        i += length;
        if (length == 0) {
            text += name[i++];
        }
    }
    return text;
}

void complain(std::string_view problem) {
    printError("qz: " + red(stderr, "error:") + " " + shown(problem) + "\n");
}
