#include "crash_probe.h"

#include <windows.h>

#include <cstdio>

namespace {

LONG WINAPI otherHandler(EXCEPTION_POINTERS*) {
    std::puts("other handler");
    std::fflush(stdout);
    ExitProcess(7);
}

} // namespace

void makeQuiet() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

// A code without a name of its own.
void dieInSystemWay() {
    constexpr DWORD kHeapCorruption = 0xC0000374;
    RaiseException(kHeapCorruption, 0, 0, nullptr);
}

void installOtherHandler() {
    SetUnhandledExceptionFilter(otherHandler);
}
