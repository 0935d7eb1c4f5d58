#include "Core/Environment.h"

#include "core/library_log.h"
#include "core/until_unload.h"
#include "platform/environment.h"
#include "platform/thread.h"

#include <exception>
#include <new>
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

std::string readCommandLine() {
    return platform::commandLine().value_or(kError);
}

std::string readDirectory() {
    return platform::executableDirectory().value();
}

// The system's answer, kept from the first call that gets one. Null if this call gets none, for
// instance for want of descriptors or memory.
template<class Answer, Answer (*ask)()>
const Answer* askOnce() noexcept {
    const platform::NoCancellation guard; // a cancelled thread cannot end in here
    try {
        static const Answer& answer = core::untilUnload(new Answer(ask()));
        return &answer;
    } catch (const std::exception&) {
        return nullptr;
    }
}

const Arguments* arguments() {
    return askOnce<Arguments, readArguments>();
}

template<std::string (*ask)()>
const char* textOrEmpty() {
    const auto* const text = askOnce<std::string, ask>();
    return text != nullptr ? text->c_str() : "";
}

template<class Call>
platform::VariableStatus failWithoutMemory(Call call) noexcept {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return platform::VariableStatus::failed;
    }
}

const char* orNull(const char* text) {
    return text != nullptr ? text : "<NULL>";
}

} // namespace

const char* SYS_bindir(void) {
    return textOrEmpty<readDirectory>();
}

const char* SYS_cmdline(void) {
    return textOrEmpty<readCommandLine>();
}

int SYS_argc(void) {
    const Arguments* const known = arguments();
    return known != nullptr ? static_cast<int>(known->texts.size()) : 0;
}

const char* const* SYS_argv(void) {
    static constexpr const char* kNone[] = {nullptr};
    const Arguments* const known = arguments();
    return known != nullptr ? known->pointers.data() : kNone;
}

int SYS_getenv(const char* name, char* buffer, size_t size) {
    using platform::VariableStatus;
    const VariableStatus status = failWithoutMemory([=] {
        return name != nullptr ? platform::getVariable(name, buffer, size)
                               : VariableStatus::badName;
    });
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
    const VariableStatus status = failWithoutMemory([=] {
        return name != nullptr ? platform::setVariable(name, value != nullptr ? value : "")
                               : VariableStatus::badName;
    });
    if (status == VariableStatus::badName) {
        qz_logf(kModule, QZ_LOG_ERROR, "SYS_putenv(\"%s\"): bad varname encoding.", orNull(name));
    } else if (status == VariableStatus::badValue) {
        qz_logf(kModule, QZ_LOG_ERROR, "SYS_putenv(\"%s\"): bad value encoding.", name);
    }
    return status == VariableStatus::done ? 1 : 0;
}
