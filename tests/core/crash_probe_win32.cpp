#include "crash_probe.h"

#include <windows.h>

#include <cstdio>

namespace {

int callsLeft = 1;

LONG WINAPI otherHandler(EXCEPTION_POINTERS*) {
    std::puts("other handler");
    std::fflush(stdout);
    if (--callsLeft == 0) {
        ExitProcess(7);
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

LPTOP_LEVEL_EXCEPTION_FILTER replaced;

DWORD WINAPI run(void*) {
    die();
    return 0;
}

LONG WINAPI endAtOnce(EXCEPTION_POINTERS*) {
    TerminateProcess(GetCurrentProcess(), 9);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

const Functions kSystemWays{};
const Functions kSystemPreparations{};

// The system would start a debugger, which takes seconds.
void makeQuiet() {
    SetUnhandledExceptionFilter(endAtOnce);
}

// Raises an exception code that has no name.
void dieInSystemWay() {
    constexpr DWORD kHeapCorruption = 0xC0000374;
    RaiseException(kHeapCorruption, 0, 0, nullptr);
}

void installOtherHandler(OtherHandler kind) {
    callsLeft = kind == OtherHandler::exits ? 1 : 100;
    SetUnhandledExceptionFilter(otherHandler);
}

Function replaceHandler() {
    replaced = SetUnhandledExceptionFilter(otherHandler);
    return [] { SetUnhandledExceptionFilter(replaced); };
}

void dieInForeignThread() {
    WaitForSingleObject(CreateThread(nullptr, 0, run, nullptr, 0, nullptr), INFINITE);
}
