#include "platform/folders.h"

#include "platform/files.h"
#include "platform/win32/wide.h"

// Defines the folder identifiers here instead of asking for a library of them.
#include <initguid.h>

#include <windows.h>

#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdio>
#include <iterator>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = 260;

// The shell's folders need COM. A thread that has entered it in another mode stays in that mode.
class ComScope {
public:
    ComScope() : entered_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}
    ~ComScope() {
        if (entered_) {
            CoUninitialize();
        }
    }
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;

private:
    bool entered_;
};

using KnownFolderCall = HRESULT(WINAPI*)(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR*);

// Looked up by name, so that the library loads on systems without it.
KnownFolderCall knownFolderCall() {
    const HMODULE shell = GetModuleHandleA("shell32.dll");
    if (shell == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<KnownFolderCall>(
        reinterpret_cast<void*>(GetProcAddress(shell, "SHGetKnownFolderPath")));
}

bool documentsPath(wchar_t* path) {
    return SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_PERSONAL | CSIDL_FLAG_CREATE, nullptr,
                                      SHGFP_TYPE_CURRENT, path));
}

bool createdOrThere(int result) {
    return result == ERROR_SUCCESS || result == ERROR_ALREADY_EXISTS || result == ERROR_FILE_EXISTS;
}

// For calls that return the length they wrote, or the length they need.
bool convertResult(DWORD length, const wchar_t* path, char* buffer, std::size_t size) {
    return length > 0 && length < kPathUnits && fromWide(path, buffer, size);
}

void describeDrive(const char* root, char* name, std::size_t size) {
    std::snprintf(name, size, "%.2s", root);
    wchar_t wideRoot[4];
    wchar_t wideLabel[MAX_PATH + 1];
    char label[258];
    if (toWide(root, wideRoot, std::size(wideRoot)) && GetDriveTypeW(wideRoot) == DRIVE_FIXED &&
        GetVolumeInformationW(wideRoot, wideLabel, std::size(wideLabel), nullptr, nullptr, nullptr,
                              nullptr, 0) &&
        wideLabel[0] != 0 && fromWide(wideLabel, label, sizeof label)) {
        std::snprintf(name, size, "%.2s %s", root, label);
    }
}

} // namespace

FolderStatus savedGamesFolder(char* buffer, std::size_t size) {
    const KnownFolderCall getKnownFolder = knownFolderCall();
    if (getKnownFolder == nullptr) {
        return FolderStatus::unsupported;
    }
    const ComScope com;
    wchar_t* path = nullptr;
    const bool found =
        SUCCEEDED(getKnownFolder(FOLDERID_SavedGames, KF_FLAG_CREATE | KF_FLAG_NO_ALIAS, nullptr,
                                 &path)) &&
        fromWide(path, buffer, size);
    CoTaskMemFree(path);
    return found ? FolderStatus::ready : FolderStatus::unknown;
}

FolderStatus myGamesFolder(char* buffer, std::size_t size) {
    wchar_t path[MAX_PATH];
    if (!documentsPath(path) || !PathAppendW(path, L"My Games") || !fromWide(path, buffer, size)) {
        return FolderStatus::unknown;
    }
    return createdOrThere(SHCreateDirectoryExW(nullptr, path, nullptr)) ? FolderStatus::ready
                                                                        : FolderStatus::notCreated;
}

FolderStatus documentsFolder(char* buffer, std::size_t size) {
    wchar_t path[MAX_PATH];
    return documentsPath(path) && fromWide(path, buffer, size) ? FolderStatus::ready
                                                               : FolderStatus::unknown;
}

bool temporaryFolder(char* buffer, std::size_t size) {
    wchar_t path[kPathUnits];
    return convertResult(GetTempPathW(kPathUnits, path), path, buffer, size);
}

bool currentDirectory(char* buffer, std::size_t size) {
    wchar_t path[kPathUnits];
    return convertResult(GetCurrentDirectoryW(kPathUnits, path), path, buffer, size);
}

bool fullPath(const char* path, char* buffer, std::size_t size) {
    wchar_t given[kPathUnits];
    wchar_t full[kPathUnits];
    return toWide(path, given, kPathUnits) &&
           convertResult(GetFullPathNameW(given, kPathUnits, full, nullptr), full, buffer, size);
}

bool makeOwnDirectories(const char*, const char* path) {
    makeDirectories(path);
    return true;
}

void listDrives(DriveCallback callback, void* context) {
    const DWORD drives = GetLogicalDrives();
    for (unsigned int bit = 0; bit < 26; ++bit) {
        if ((drives >> bit & 1U) != 0) {
            const char root[] = {static_cast<char>('A' + bit), ':', '\\', 0};
            char name[sizeof "C: " + 258];
            describeDrive(root, name, sizeof name);
            callback(context, name, root);
        }
    }
}

} // namespace platform
