#include "platform/win32/path_target.h"

#include <windows.h>

#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>

namespace platform {

namespace {

constexpr std::wstring_view kAsItStands = L"\\\\?\\";
constexpr std::wstring_view kDevice = L"\\\\.\\";
constexpr std::wstring_view kPipe = L"\\\\.\\pipe\\";
constexpr std::wstring_view kObject = L"\\??\\";

// No call takes a longer path.
constexpr std::size_t kMostUnits = 32767;

bool beginsWithShareOrVolume(std::wstring_view path) {
    constexpr std::wstring_view kShare = L"UNC\\";
    constexpr std::wstring_view kVolume = L"Volume{";
    return _wcsnicmp(path.data(), kShare.data(), kShare.size()) == 0 ||
           (_wcsnicmp(path.data(), kVolume.data(), kVolume.size()) == 0 &&
            path.find(L"}\\") != std::wstring_view::npos);
}

// Takes a full path. Without the separator behind its name, a drive or volume is the device.
bool isDevice(std::wstring_view path) {
    if (!path.starts_with(kAsItStands)) {
        return path.starts_with(kDevice) && !path.starts_with(kPipe);
    }
    path.remove_prefix(kAsItStands.size());
    return path.substr(1, 2) != L":\\" && !beginsWithShareOrVolume(path);
}

// True for a colon other than a drive's.
bool isStream(std::wstring_view path) {
    path.remove_prefix(path.starts_with(kAsItStands) ? kAsItStands.size() : 0);
    return path.find(L':', 2) != std::wstring_view::npos;
}

// Writes the full path into `full`.
PathTarget targetOf(const wchar_t* path, wchar_t* full, DWORD units) {
    const DWORD length = GetFullPathNameW(path, units, full, nullptr);
    // An empty path has no full one. A full path that does not fit never names a device.
    const std::wstring_view known(length > 0 && length < units ? full : path);
    if (isDevice(known) || std::wstring_view(path).starts_with(kObject)) {
        return PathTarget::device;
    }
    return isStream(known) ? PathTarget::stream : PathTarget::file;
}

} // namespace

PathTarget targetOf(const wchar_t* path) {
    wchar_t full[2 * MAX_PATH];
    return targetOf(path, full, std::size(full));
}

PathTarget targetOf(const char* path) {
    const std::size_t size = std::strlen(path) + 1; // no byte makes more than one unit
    const std::size_t fullSize = size + MAX_PATH;
    const std::unique_ptr<wchar_t[]> buffer(
        size <= kMostUnits ? new (std::nothrow) wchar_t[size + fullSize] : nullptr);
    const UINT codePage = AreFileApisANSI() ? CP_ACP : CP_OEMCP;
    if (!buffer ||
        MultiByteToWideChar(codePage, 0, path, -1, buffer.get(), static_cast<int>(size)) == 0) {
        return PathTarget::device;
    }
    return targetOf(buffer.get(), buffer.get() + size, static_cast<DWORD>(fullSize));
}

} // namespace platform
