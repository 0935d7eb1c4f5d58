// Files that somebody else has open for an instant.
#pragma once

#include <windows.h>

namespace platform {

// Repeats a step that others keep from a file, for a second at most. `step` returns whether it
// succeeded, and leaves the reason of a failure as the thread's last error, as does this function.
// `reason` is a second one that may mean others.
template<class Step>
bool waitForOthers(Step step, DWORD reason = ERROR_SHARING_VIOLATION) {
    constexpr ULONGLONG kLongestWait = 1000;
    constexpr DWORD kPause = 5;
    const ULONGLONG begin = GetTickCount64();
    while (!step()) {
        const DWORD error = GetLastError();
        const bool isByOthers = error == ERROR_SHARING_VIOLATION || error == reason;
        if (!isByOthers || GetTickCount64() - begin >= kLongestWait) {
            SetLastError(error);
            return false;
        }
        Sleep(kPause);
    }
    return true;
}

} // namespace platform
