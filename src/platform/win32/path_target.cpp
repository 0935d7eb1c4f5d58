#include "platform/win32/path_target.h"

#include <windows.h>

#include <iterator>
#include <string_view>

namespace platform {

namespace {

constexpr std::wstring_view kAsItStands = L"\\\\?\\";
constexpr std::wstring_view kDevice = L"\\\\.\\";
constexpr std::wstring_view kPipe = L"\\\\.\\pipe\\";
constexpr std::wstring_view kObject = L"\\??\\";

bool beginsWithShareOrVolume(std::wstring_view path) {
    constexpr std::wstring_view kShare = L"UNC\\";
    constexpr std::wstring_view kVolume = L"Volume{";
    return _wcsnicmp(path.data(), kShare.data(), kShare.size()) == 0 ||
           (_wcsnicmp(path.data(), kVolume.data(), kVolume.size()) == 0 &&
            path.find(L"}\\") != std::wstring_view::npos);
}

// Of a full path. Without the separator behind its name, a drive or volume is the device.
bool isDevice(std::wstring_view path) {
    if (!path.starts_with(kAsItStands)) {
        return path.starts_with(kDevice) && !path.starts_with(kPipe);
    }
    path.remove_prefix(kAsItStands.size());
    return path.substr(1, 2) != L":\\" && !beginsWithShareOrVolume(path);
}

// The only other colon is that of a drive.
bool isStream(std::wstring_view path) {
    path.remove_prefix(path.starts_with(kAsItStands) ? kAsItStands.size() : 0);
    return path.find(L':', 2) != std::wstring_view::npos;
}

} // namespace

PathTarget targetOf(const wchar_t* path) {
    wchar_t full[2 * MAX_PATH];
    const DWORD length = GetFullPathNameW(path, std::size(full), full, nullptr);
    // The full path of a device is short.
    const std::wstring_view known(length < std::size(full) ? full : path);
    if (isDevice(known) || std::wstring_view(path).starts_with(kObject)) {
        return PathTarget::device;
    }
    return isStream(known) ? PathTarget::stream : PathTarget::file;
}

} // namespace platform
