#include "platform/input.h"

#include "platform/win32/path_target.h"
#include "platform/win32/sharing.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>

namespace platform {

Input::Input() : file_(reinterpret_cast<FileHandle>(GetStdHandle(STD_INPUT_HANDLE))) {}

Input::Input(const char* path) {
    constexpr std::size_t kPathUnits = MAX_PATH + 1;
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    wchar_t wide[kPathUnits];
    if (!toWide(path, wide, kPathUnits)) {
        error_ = ERROR_PATH_NOT_FOUND;
        return;
    }
    if (targetOf(wide) == PathTarget::device) {
        error_ = ERROR_INVALID_NAME;
        return;
    }
    HANDLE file = INVALID_HANDLE_VALUE;
    isOwn_ = waitForOthers([&] { // somebody may be replacing the file
        file = CreateFileW(wide, GENERIC_READ, kShared, nullptr, OPEN_EXISTING, 0, nullptr);
        return file != INVALID_HANDLE_VALUE;
    });
    error_ = isOwn_ ? 0 : GetLastError();
    file_ = reinterpret_cast<FileHandle>(file);
}

Input::~Input() {
    if (isOwn_) {
        closeFile(file_);
    }
}

// Pipes and consoles give what they have. A pipe whose writer has closed it is at its end.
std::size_t Input::read(void* buffer, std::size_t count) {
    constexpr std::size_t kMostAtOnce = 1 << 20;
    std::size_t done = 0;
    DWORD moved = 1;
    while (error_ == 0 && moved > 0 && done < count) {
        const auto wanted = static_cast<DWORD>(std::min(count - done, kMostAtOnce));
        moved = 0;
        if (!ReadFile(reinterpret_cast<HANDLE>(file_), static_cast<std::byte*>(buffer) + done,
                      wanted, &moved, nullptr) &&
            GetLastError() != ERROR_BROKEN_PIPE) {
            error_ = GetLastError();
        }
        done += moved;
    }
    return done;
}

} // namespace platform
