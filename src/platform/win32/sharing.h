// Files that others have open for an instant.
#pragma once

#include <windows.h>

namespace platform {

// Repeats a step, for so many milliseconds at most, while it fails because others have the file
// open. `step` returns whether it succeeded; on failure it sets the thread's last error, and so
// does this function. `reason` is a second error that may come from others.
template<class Step>
bool waitForOthers(Step step, DWORD reason = ERROR_SHARING_VIOLATION,
                   ULONGLONG longestWait = 1000) {
    constexpr DWORD kPause = 5;
    const ULONGLONG begin = GetTickCount64();
    while (!step()) {
        const DWORD error = GetLastError();
        const bool isByOthers = error == ERROR_SHARING_VIOLATION || error == reason;
        if (!isByOthers || GetTickCount64() - begin >= longestWait) {
            SetLastError(error);
            return false;
        }
        Sleep(kPause);
    }
    return true;
}

} // namespace platform
