#include "crash_probe.h"

#include <windows.h>

#include <cstdio>

namespace {

LONG WINAPI otherHandler(EXCEPTION_POINTERS*) {
    std::puts("other handler");
    std::fflush(stdout);
    ExitProcess(7);
}

LONG WINAPI endAtOnce(EXCEPTION_POINTERS*) {
    TerminateProcess(GetCurrentProcess(), 9);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

// The system would start a debugger, which takes seconds.
void makeQuiet() {
    SetUnhandledExceptionFilter(endAtOnce);
}

// A code without a name of its own.
void dieInSystemWay() {
    constexpr DWORD kHeapCorruption = 0xC0000374;
    RaiseException(kHeapCorruption, 0, 0, nullptr);
}

void installOtherHandler() {
    SetUnhandledExceptionFilter(otherHandler);
}
