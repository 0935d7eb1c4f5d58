#include "platform/environment.h"

#include "platform/win32/wide.h"

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <system_error>

namespace platform {

namespace {

constexpr std::size_t kNameUnits = 32768;
constexpr std::size_t kSetValueUnits = 32768;
constexpr std::size_t kGetValueUnits = 65536;
constexpr std::size_t kBytesPerUnit = 6;

std::optional<std::string> toText(const wchar_t* wide) {
    std::string text(std::wcslen(wide) * kBytesPerUnit + 1, '\0');
    if (!fromWide(wide, text.data(), text.size())) {
        return std::nullopt;
    }
    text.resize(std::strlen(text.c_str()));
    return text;
}

class ExecutablePath {
public:
    ExecutablePath() : length_(GetModuleFileNameW(GetModuleHandleW(nullptr), path_, MAX_PATH)) {}

    bool isKnown() const { return length_ > 0 && length_ < MAX_PATH; }
    const wchar_t* text() const { return path_; }
    wchar_t* lastSeparator() { return isKnown() ? std::wcsrchr(path_, L'\\') : nullptr; }

private:
    wchar_t path_[MAX_PATH];
    DWORD length_;
};

// Environment texts are too long for the stack.
using WideBuffer = std::unique_ptr<wchar_t[]>;

WideBuffer makeBuffer(std::size_t units) {
    return WideBuffer(new wchar_t[units]);
}

} // namespace

std::optional<std::string> executableDirectory() {
    ExecutablePath path;
    if (!path.isKnown()) {
        return std::nullopt;
    }
    if (wchar_t* separator = path.lastSeparator()) {
        *separator = 0;
    }
    return toText(path.text());
}

std::optional<std::string> executableName() {
    ExecutablePath path;
    const wchar_t* separator = path.lastSeparator();
    return path.isKnown() ? toText(separator != nullptr ? separator + 1 : path.text())
                          : std::nullopt;
}

std::optional<std::string> commandLine() {
    return toText(GetCommandLineW());
}

std::vector<std::optional<std::string>> commandArguments() {
    int count = 0;
    const std::unique_ptr<wchar_t*[], decltype(&LocalFree)> list(
        CommandLineToArgvW(GetCommandLineW(), &count), LocalFree);
    if (!list) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
    }
    std::vector<std::optional<std::string>> arguments(static_cast<std::size_t>(count));
    std::transform(list.get(), list.get() + count, arguments.begin(), toText);
    return arguments;
}

VariableStatus getVariable(const char* name, char* buffer, std::size_t size) {
    const WideBuffer wideName = makeBuffer(kNameUnits);
    if (!toWide(name, wideName.get(), kNameUnits)) {
        return VariableStatus::badName;
    }
    const WideBuffer wideValue = makeBuffer(kGetValueUnits);
    const DWORD length = GetEnvironmentVariableW(wideName.get(), wideValue.get(), kGetValueUnits);
    if (length == 0) {
        return VariableStatus::failed;
    }
    if (length >= kGetValueUnits) {
        return VariableStatus::tooBig;
    }
    const std::optional<std::string> value = toText(wideValue.get());
    if (!value) {
        return VariableStatus::badValue;
    }
    if (value->size() >= size) {
        return VariableStatus::tooBig;
    }
    std::memcpy(buffer, value->c_str(), value->size() + 1);
    return VariableStatus::done;
}

VariableStatus setVariable(const char* name, const char* value) {
    const WideBuffer wideName = makeBuffer(kNameUnits);
    if (!toWide(name, wideName.get(), kNameUnits)) {
        return VariableStatus::badName;
    }
    const WideBuffer wideValue = makeBuffer(kSetValueUnits);
    const bool removing = *value == '\0';
    if (!removing && !toWide(value, wideValue.get(), kSetValueUnits)) {
        return VariableStatus::badValue;
    }
    return SetEnvironmentVariableW(wideName.get(), removing ? nullptr : wideValue.get())
               ? VariableStatus::done
               : VariableStatus::failed;
}

} // namespace platform
