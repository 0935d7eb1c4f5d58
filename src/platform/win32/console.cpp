#include "platform/console.h"

#include "platform/win32/wide.h"

#include <windows.h>

namespace platform {

namespace {

constexpr std::size_t kMaximumUnits = 2048;

// A console takes characters; a file or pipe refuses them and gets the UTF-8 bytes instead.
void writeToStandardError(const char* text, std::size_t length, const wchar_t* wide,
                          std::size_t units) {
    const HANDLE handle = GetStdHandle(STD_ERROR_HANDLE);
    DWORD written = 0;
    if (!WriteConsoleW(handle, wide, static_cast<DWORD>(units), &written, nullptr)) {
        WriteFile(handle, text, static_cast<DWORD>(length), &written, nullptr);
    }
}

} // namespace

void refreshEcho() {}

const unsigned int* echoLevels() {
    const FARPROC variable = GetProcAddress(GetModuleHandleW(nullptr), "qz_log_echo_levels");
    return reinterpret_cast<const unsigned int*>(variable);
}

bool echoWanted() {
    return true; // a debugger, or a viewer of debugger output, may listen at any time
}

void echo(const char* text, std::size_t length) {
    wchar_t wide[kMaximumUnits];
    const std::size_t units = toWideForDisplay(text, wide, kMaximumUnits);
    OutputDebugStringW(wide);
    writeToStandardError(text, length, wide, units);
}

void alertBox(const char* text, const char* caption) {
    wchar_t wideText[kMaximumUnits];
    wchar_t wideCaption[16];
    toWideForDisplay(text, wideText, kMaximumUnits);
    toWideForDisplay(caption, wideCaption, 16);
    MessageBoxW(nullptr, wideText, wideCaption, MB_ICONERROR);
}

} // namespace platform
