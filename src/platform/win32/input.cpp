#include "platform/input.h"

#include "platform/win32/sharing.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <climits>
#include <cstddef>

namespace platform {

namespace {

// A pipe whose writer has closed it is at its end.
SystemError readToEnd(HANDLE file, std::string& bytes) {
    char part[65536];
    DWORD count = 1;
    while (count > 0 && bytes.size() <= INT_MAX) {
        if (!ReadFile(file, part, sizeof part, &count, nullptr)) {
            return GetLastError() == ERROR_BROKEN_PIPE ? 0 : GetLastError();
        }
        bytes.append(part, count);
    }
    return 0;
}

} // namespace

SystemError readPath(const char* path, std::string& bytes) {
    constexpr std::size_t kPathUnits = MAX_PATH + 1;
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    wchar_t wide[kPathUnits];
    if (!toWide(path, wide, kPathUnits)) {
        return ERROR_PATH_NOT_FOUND;
    }
    HANDLE file = INVALID_HANDLE_VALUE;
    const bool isOpen = waitForOthers([&] { // who may be replacing it
        file = CreateFileW(wide, GENERIC_READ, kShared, nullptr, OPEN_EXISTING, 0, nullptr);
        return file != INVALID_HANDLE_VALUE;
    });
    if (!isOpen) {
        return GetLastError();
    }
    const SystemError error = readToEnd(file, bytes);
    CloseHandle(file);
    return error;
}

SystemError readStandardInput(std::string& bytes) {
    return readToEnd(GetStdHandle(STD_INPUT_HANDLE), bytes);
}

} // namespace platform
