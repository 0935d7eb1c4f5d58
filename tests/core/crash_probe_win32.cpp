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

struct Call {
    void* (*function)(void*);
    void* argument;
};

DWORD WINAPI run(void* given) {
    const auto& call = *static_cast<Call*>(given);
    call.function(call.argument);
    return 0;
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

// Raises an exception code that has no name.
void dieInSystemWay() {
    constexpr DWORD kHeapCorruption = 0xC0000374;
    RaiseException(kHeapCorruption, 0, 0, nullptr);
}

void installOtherHandler(OtherHandler kind) {
    callsLeft = kind == OtherHandler::exits ? 1 : 100;
    SetUnhandledExceptionFilter(otherHandler);
}

Restore replaceHandler() {
    replaced = SetUnhandledExceptionFilter(otherHandler);
    return [] { SetUnhandledExceptionFilter(replaced); };
}

void runInForeignThread(void* (*function)(void*), void* argument) {
    Call call{function, argument};
    WaitForSingleObject(CreateThread(nullptr, 0, run, &call, 0, nullptr), INFINITE);
}

void useUpDescriptors() {}

void abortBlocked() {}

void abortSignalled() {}

void cancelThisThread() {}

void crashInForkedChild(void* (*)(void*), void*) {}
