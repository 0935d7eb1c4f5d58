#include "platform/environment.h"

#include "platform/posix/process.h"
#include "platform/posix/utf8.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace platform {

namespace {

// Windows's limits, in UTF-16 units with the terminator.
constexpr std::size_t kNameUnits = 32768;
constexpr std::size_t kSetValueUnits = 32768;
constexpr std::size_t kGetValueUnits = 65536;

bool fits(const char* text, std::size_t units) {
    const auto length = utf16Length(text);
    return length && *length < units;
}

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::strchr("@%+=:,./_-", c) != nullptr || static_cast<unsigned char>(c) >= 0x80;
}

std::string quoted(const std::string& argument) {
    if (!argument.empty() && std::all_of(argument.begin(), argument.end(), isPlain)) {
        return argument;
    }
    std::string text = "'";
    for (const char c : argument) {
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return text + "'";
}

} // namespace

std::optional<std::string> executableDirectory() {
    const auto executable = executablePath();
    return executable ? std::optional(executable->substr(0, executable->rfind('/'))) : std::nullopt;
}

std::optional<std::string> executableName() {
    const auto executable = executablePath();
    return executable ? std::optional(executable->substr(executable->rfind('/') + 1))
                      : std::nullopt;
}

std::optional<std::string> commandLine() {
    std::string line;
    for (const std::string& argument : rawArguments()) {
        if (!utf16Length(argument)) {
            return std::nullopt;
        }
        if (!line.empty()) {
            line += ' ';
        }
        line += quoted(argument);
    }
    return line;
}

std::vector<std::optional<std::string>> commandArguments() {
    std::vector<std::optional<std::string>> arguments;
    for (std::string& argument : rawArguments()) {
        arguments.push_back(utf16Length(argument) ? std::optional(std::move(argument))
                                                  : std::nullopt);
    }
    return arguments;
}

VariableStatus getVariable(const char* name, char* buffer, std::size_t size) {
    if (!fits(name, kNameUnits)) {
        return VariableStatus::badName;
    }
    // A name has no '=' in it. For FOO=bar, getenv would look into the value of FOO.
    const char* value = std::strchr(name, '=') == nullptr ? std::getenv(name) : nullptr;
    if (value == nullptr || *value == '\0') {
        return VariableStatus::failed;
    }
    const auto units = utf16Length(value);
    if (!units) {
        return VariableStatus::badValue;
    }
    const std::size_t length = std::strlen(value);
    if (*units >= kGetValueUnits || length >= size) {
        return VariableStatus::tooBig;
    }
    std::memcpy(buffer, value, length + 1);
    return VariableStatus::done;
}

VariableStatus setVariable(const char* name, const char* value) {
    if (!fits(name, kNameUnits)) {
        return VariableStatus::badName;
    }
    if (*value == '\0') {
        return unsetenv(name) == 0 ? VariableStatus::done : VariableStatus::failed;
    }
    if (!fits(value, kSetValueUnits)) {
        return VariableStatus::badValue;
    }
    return setenv(name, value, 1) == 0 ? VariableStatus::done : VariableStatus::failed;
}

} // namespace platform
