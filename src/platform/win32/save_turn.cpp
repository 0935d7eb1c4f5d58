// The turn is a named mutex. The system releases the mutex of a thread that dies. The name
// identifies the directory, whatever path leads there.
#include "platform/save_turn.h"

#include "platform/win32/handle.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cwchar>
#include <iterator>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = 2 * (MAX_PATH + 1); // a directory's and one relative to it

// Identifies a directory that exists.
bool identify(const wchar_t* directory, BY_HANDLE_FILE_INFORMATION& information) {
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const Handle opened(CreateFileW(directory, 0, kShared, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return opened && GetFileInformationByHandle(opened.get(), &information) != 0;
}

// Replaces the name of the file by ".", so that the path of a drive gives a directory, too.
bool writeDirectory(const char* path, wchar_t (&directory)[kPathUnits]) {
    if (!toWide(path, directory, kPathUnits - 1)) {
        return false;
    }
    wchar_t* name = directory;
    for (wchar_t* at = directory; *at != 0; ++at) {
        name = *at == L'/' || *at == L'\\' || *at == L':' ? at + 1 : name;
    }
    name[0] = L'.';
    name[1] = 0;
    return true;
}

// Any user may take the mutex, because several users may write the same files.
Handle openMutex(const wchar_t* name) {
    SECURITY_DESCRIPTOR everybody;
    InitializeSecurityDescriptor(&everybody, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&everybody, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES security{sizeof security, &everybody, FALSE};
    return Handle(CreateMutexW(&security, FALSE, name));
}

} // namespace

SaveTurn::SaveTurn(const char* path, std::chrono::milliseconds longestWait) noexcept {
    wchar_t directory[kPathUnits];
    BY_HANDLE_FILE_INFORMATION information;
    if (!writeDirectory(path, directory) || !identify(directory, information)) {
        return; // the replacement will fail
    }
    wchar_t name[64];
    std::swprintf(name, std::size(name), L"Global\\qzsave-%08lx-%08lx%08lx",
                  information.dwVolumeSerialNumber, information.nFileIndexHigh,
                  information.nFileIndexLow);
    Handle mutex = openMutex(name);
    if (!mutex) {
        return;
    }
    const DWORD result = WaitForSingleObject(mutex.get(), static_cast<DWORD>(longestWait.count()));
    if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) {
        lock_ = reinterpret_cast<std::intptr_t>(mutex.release());
        return;
    }
    isMine_ = result != WAIT_TIMEOUT; // another result means that there is no lock
}

SaveTurn::~SaveTurn() {
    if (lock_ != kNone) {
        const Handle mutex(reinterpret_cast<HANDLE>(lock_));
        ReleaseMutex(mutex.get());
    }
}

} // namespace platform
