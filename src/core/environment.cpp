#include "Core/Environment.h"

#include "core/log.h"
#include "core/until_unload.h"
#include "platform/environment.h"

#include <string>
#include <vector>

namespace {

constexpr char kModule[] = "QZCORE";
constexpr char kError[] = "#error";

struct Arguments {
    std::vector<std::string> texts;
    std::vector<const char*> pointers; // ends with null
};

Arguments readArguments() {
    Arguments arguments;
    for (const auto& argument : platform::commandArguments()) {
        arguments.texts.push_back(argument.value_or(kError));
    }
    for (const std::string& text : arguments.texts) {
        arguments.pointers.push_back(text.c_str());
    }
    arguments.pointers.push_back(nullptr);
    return arguments;
}

const Arguments& arguments() {
    static const Arguments& read = core::untilUnload(new Arguments(readArguments()));
    return read;
}

const char* orNull(const char* text) {
    return text != nullptr ? text : "<NULL>";
}

} // namespace

const char* SYS_bindir(void) {
    static const std::string& directory =
        core::untilUnload(new std::string(platform::executableDirectory().value_or("")));
    return directory.c_str();
}

const char* SYS_cmdline(void) {
    static const std::string& line =
        core::untilUnload(new std::string(platform::commandLine().value_or(kError)));
    return line.c_str();
}

int SYS_argc(void) {
    return static_cast<int>(arguments().texts.size());
}

const char* const* SYS_argv(void) {
    return arguments().pointers.data();
}

int SYS_getenv(const char* name, char* buffer, size_t size) {
    using platform::VariableStatus;
    const VariableStatus status =
        name != nullptr ? platform::getVariable(name, buffer, size) : VariableStatus::badName;
    switch (status) {
    case VariableStatus::done:
        return 1;
    case VariableStatus::failed:
        break;
    case VariableStatus::badName:
    case VariableStatus::badValue:
        qz_logf(kModule, QZ_LOG_ERROR, "SYS_getenv(\"%s\"): bad encoding.", orNull(name));
        break;
    case VariableStatus::tooBig:
        qz_logf(kModule, QZ_LOG_ERROR, "SYS_getenv(\"%s\"): variable value is too big.", name);
        break;
    }
    return 0;
}

int SYS_putenv(const char* name, const char* value) {
    using platform::VariableStatus;
    const VariableStatus status = name != nullptr
                                      ? platform::setVariable(name, value != nullptr ? value : "")
                                      : VariableStatus::badName;
    if (status == VariableStatus::badName) {
        qz_logf(kModule, QZ_LOG_ERROR, "SYS_putenv(\"%s\"): bad varname encoding.", orNull(name));
    } else if (status == VariableStatus::badValue) {
        qz_logf(kModule, QZ_LOG_ERROR, "SYS_putenv(\"%s\"): bad value encoding.", name);
    }
    return status == VariableStatus::done ? 1 : 0;
}
