#include "platform/files.h"

#include "platform/win32/file_time.h"
#include "platform/win32/path_target.h"
#include "platform/win32/sharing.h"
#include "platform/win32/wide.h"

#include <windows.h>

// After windows.h, which they need.
#include <io.h>
#include <shlobj.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>

namespace platform {

const char kSeparator = '\\';

namespace {

// A path for the wide calls. One that is not valid UTF-8 goes to the ANSI calls unchanged.
class SystemPath {
public:
    explicit SystemPath(const char* path)
        : bytes_(path), isWide_(toWide(path, wide_, std::size(wide_))) {}

    PathTarget target() const { return isWide_ ? targetOf(wide_) : targetOf(bytes_); }

    // The result of whichever call takes this path.
    template<class WideCall, class AnsiCall>
    auto call(WideCall wideCall, AnsiCall ansiCall) const {
        return isWide_ ? wideCall(wide_) : ansiCall(bytes_);
    }

private:
    const char* bytes_;
    wchar_t wide_[256];
    bool isWide_;
};

constexpr std::size_t kFullPathUnits = 260;

// The most that one system call takes, in whole pages.
constexpr std::size_t kMaxTransfer = 0xFFFFF000;

HANDLE systemHandle(FileHandle file) {
    return reinterpret_cast<HANDLE>(file);
}

SystemError resultOf(BOOL succeeded) {
    return succeeded ? 0 : GetLastError();
}

DWORD disposition(FileAccess access) {
    switch (access) {
    case FileAccess::read:
        return OPEN_EXISTING;
    case FileAccess::write:
        return CREATE_ALWAYS;
    default:
        return OPEN_ALWAYS;
    }
}

DWORD attributesOf(const SystemPath& path) {
    return path.call([](const wchar_t* wide) { return GetFileAttributesW(wide); },
                     [](const char* bytes) { return GetFileAttributesA(bytes); });
}

// Repeats a transfer that does not fit one call until everything is through, the file ends or
// something fails.
template<class Step>
std::size_t transfer(std::size_t count, SystemError& error, Step step) {
    std::size_t done = 0;
    DWORD wanted = 0;
    DWORD moved = 0;
    do {
        wanted = static_cast<DWORD>(std::min(count - done, kMaxTransfer));
        moved = 0;
        error = resultOf(step(done, wanted, &moved));
        done += moved;
    } while (error == 0 && moved == wanted && done < count);
    return done;
}

SystemError moveTo(FileHandle file, std::int64_t offset, DWORD origin, std::int64_t* position) {
    LARGE_INTEGER distance;
    LARGE_INTEGER reached = {};
    distance.QuadPart = offset;
    const SystemError error =
        resultOf(SetFilePointerEx(systemHandle(file), distance, &reached, origin));
    if (position != nullptr) {
        *position = reached.QuadPart;
    }
    return error;
}

bool createDirectories(const wchar_t* path) {
    wchar_t full[kFullPathUnits];
    const DWORD length = GetFullPathNameW(path, std::size(full), full, nullptr);
    return length > 0 && length < std::size(full) &&
           SHCreateDirectoryExW(nullptr, full, nullptr) == ERROR_SUCCESS;
}

bool createDirectories(const char* path) {
    char full[kFullPathUnits];
    const DWORD length = GetFullPathNameA(path, std::size(full), full, nullptr);
    return length > 0 && length < std::size(full) &&
           SHCreateDirectoryExA(nullptr, full, nullptr) == ERROR_SUCCESS;
}

// Seconds since 1970 by way of local time, as hosts expect them. They differ from those of
// UTC by the hour that occurs twice when summer time ends.
std::int64_t secondsByLocalTime(const FILETIME& written) {
    SYSTEMTIME utc;
    SYSTEMTIME local;
    TIME_ZONE_INFORMATION zone;
    if (!FileTimeToSystemTime(&written, &utc) ||
        GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID ||
        !SystemTimeToTzSpecificLocalTime(&zone, &utc, &local)) {
        return 0;
    }
    std::tm calendar = {};
    calendar.tm_year = local.wYear - 1900;
    calendar.tm_mon = local.wMonth - 1;
    calendar.tm_mday = local.wDay;
    calendar.tm_hour = local.wHour;
    calendar.tm_min = local.wMinute;
    calendar.tm_sec = local.wSecond;
    calendar.tm_wday = -1;
    calendar.tm_yday = -1;
    calendar.tm_isdst = -1;
    return std::max<std::int64_t>(_mktime64(&calendar), 0);
}

bool findModificationTime(const char* path, FILETIME& written) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    const bool found = SystemPath(path).call(
        [&](const wchar_t* wide) {
            return GetFileAttributesExW(wide, GetFileExInfoStandard, &data) != 0;
        },
        [&](const char* bytes) {
            return GetFileAttributesExA(bytes, GetFileExInfoStandard, &data) != 0;
        });
    written = data.ftLastWriteTime;
    return found;
}

std::int64_t nanosecondsOf(const FILETIME& time) {
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max() / 100;
    return std::min(ticksOf(time), kLast) * 100;
}

// Only files on a disk have what the handle's operations promise: a position, a size, no waiting.
SystemError requireOrdinaryFile(HANDLE file) {
    return GetFileType(file) == FILE_TYPE_DISK ? 0 : ERROR_BAD_FILE_TYPE;
}

// A listing in progress, wide or ANSI, whose names come out as UTF-8.
class WideListing {
public:
    explicit WideListing(const wchar_t* pattern) : handle_(FindFirstFileW(pattern, &entry_)) {}
    HANDLE handle() const { return handle_; }
    bool next() { return FindNextFileW(handle_, &entry_) != 0; }
    bool name(char* buffer, std::size_t size) const {
        return fromWide(entry_.cFileName, buffer, size);
    }

private:
    WIN32_FIND_DATAW entry_;
    HANDLE handle_;
};

class AnsiListing {
public:
    explicit AnsiListing(const char* pattern) : handle_(FindFirstFileA(pattern, &entry_)) {}
    HANDLE handle() const { return handle_; }
    bool next() { return FindNextFileA(handle_, &entry_) != 0; }
    bool name(char* buffer, std::size_t size) const {
        wchar_t wide[MAX_PATH];
        return MultiByteToWideChar(CP_ACP, 0, entry_.cFileName, -1, wide, std::size(wide)) > 0 &&
               fromWide(wide, buffer, size);
    }

private:
    WIN32_FIND_DATAA entry_;
    HANDLE handle_;
};

struct ListingCloser {
    void operator()(HANDLE listing) const { FindClose(listing); }
};

template<class Listing>
bool list(Listing listing, NameCallback callback, void* context) {
    if (listing.handle() == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    }
    // Callbacks may throw.
    const std::unique_ptr<void, ListingCloser> closer(listing.handle());
    // The root of a drive lists neither.
    callback(context, ".");
    callback(context, "..");
    do {
        char name[256];
        if (listing.name(name, sizeof name) && !isSelfOrParent(name)) {
            callback(context, name);
        }
    } while (listing.next());
    return GetLastError() == ERROR_NO_MORE_FILES;
}

} // namespace

FileHandle openFile(const char* path, FileAccess access, SystemError& error) {
    const SystemPath native(path);
    if (native.target() == PathTarget::device) {
        error = ERROR_INVALID_NAME;
        return kNoFile;
    }
    const DWORD rights = access == FileAccess::read ? GENERIC_READ : GENERIC_WRITE;
    const bool isRecord = access == FileAccess::record;
    const DWORD sharing = isRecord ? 0 : FILE_SHARE_READ;
    const DWORD attributes =
        isRecord ? FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH : FILE_ATTRIBUTE_NORMAL;
    HANDLE file = INVALID_HANDLE_VALUE;
    const auto open = [&] {
        file = native.call(
            [&](const wchar_t* wide) {
                return CreateFileW(wide, rights, sharing, nullptr, disposition(access), attributes,
                                   nullptr);
            },
            [&](const char* bytes) {
                return CreateFileA(bytes, rights, sharing, nullptr, disposition(access), attributes,
                                   nullptr);
            });
        return file != INVALID_HANDLE_VALUE || !isRecord;
    };
    constexpr ULONGLONG kLongestWait = 5000;
    waitForOthers(open, ERROR_SHARING_VIOLATION, kLongestWait);
    if (file == INVALID_HANDLE_VALUE) {
        error = GetLastError();
        return kNoFile;
    }
    error = requireOrdinaryFile(file);
    if (error != 0) {
        CloseHandle(file);
        return kNoFile;
    }
    return reinterpret_cast<FileHandle>(file);
}

FileHandle openFileWaiting(const char* path, SystemError& error) {
    FileHandle file = kNoFile;
    waitForOthers([&] {
        file = openFile(path, FileAccess::read, error);
        SetLastError(error);
        return file != kNoFile;
    });
    return file;
}

bool keepWritersOut(FileHandle /*file*/) {
    return true;
}

void endClaim(FileHandle /*file*/) {} // no process inherits the handle

SystemError closeFile(FileHandle file) {
    return CloseHandle(systemHandle(file)) != 0 ? 0 : GetLastError();
}

std::size_t readFile(FileHandle file, void* buffer, std::size_t count, SystemError& error) {
    return transfer(count, error, [&](std::size_t done, DWORD wanted, DWORD* moved) {
        return ReadFile(systemHandle(file), static_cast<char*>(buffer) + done, wanted, moved,
                        nullptr);
    });
}

std::size_t readFileAt(FileHandle file, std::uint64_t position, void* buffer, std::size_t count,
                       SystemError& error) {
    const std::size_t read =
        transfer(count, error, [&](std::size_t done, DWORD wanted, DWORD* moved) {
            OVERLAPPED place = {};
            place.Offset = static_cast<DWORD>(position + done);
            place.OffsetHigh = static_cast<DWORD>((position + done) >> 32U);
            return ReadFile(systemHandle(file), static_cast<char*>(buffer) + done, wanted, moved,
                            &place);
        });
    error = error == ERROR_HANDLE_EOF ? 0 : error; // only reads at a position report the end
    return read;
}

std::size_t writeFile(FileHandle file, const void* buffer, std::size_t count, SystemError& error) {
    return transfer(count, error, [&](std::size_t done, DWORD wanted, DWORD* moved) {
        return WriteFile(systemHandle(file), static_cast<const char*>(buffer) + done, wanted, moved,
                         nullptr);
    });
}

SystemError truncateFile(FileHandle file) {
    return resultOf(SetEndOfFile(systemHandle(file)));
}

SystemError seekFile(FileHandle file, std::int64_t position) {
    return moveTo(file, position, FILE_BEGIN, nullptr);
}

SystemError seekFileEnd(FileHandle file) {
    return moveTo(file, 0, FILE_END, nullptr);
}

SystemError tellFile(FileHandle file, std::int64_t& position) {
    return moveTo(file, 0, FILE_CURRENT, &position);
}

SystemError sizeFile(FileHandle file, std::int64_t& size) {
    LARGE_INTEGER bytes = {};
    const SystemError error = resultOf(GetFileSizeEx(systemHandle(file), &bytes));
    size = bytes.QuadPart;
    return error;
}

PathKind pathKind(const char* path) {
    const DWORD attributes = attributesOf(SystemPath(path));
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return PathKind::missing;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? PathKind::directory : PathKind::file;
}

bool leadsToDevice(const char* path) {
    return SystemPath(path).target() == PathTarget::device;
}

bool leadsToStream(const char* path) {
    return SystemPath(path).target() == PathTarget::stream;
}

bool isReadable(const char* path) {
    constexpr int kForReading = 4;
    return _access(path, kForReading) == 0;
}

bool removePath(const char* path) {
    const SystemPath native(path);
    // An unreadable path has all attribute bits set; the call for directories then refuses it.
    const bool directory = (attributesOf(native) & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return native.call(
        [&](const wchar_t* wide) {
            return (directory ? RemoveDirectoryW(wide) : DeleteFileW(wide)) != 0;
        },
        [&](const char* bytes) {
            return (directory ? RemoveDirectoryA(bytes) : DeleteFileA(bytes)) != 0;
        });
}

bool makeDirectories(const char* path) {
    const SystemPath native(path);
    return native.target() == PathTarget::file &&
           native.call([](const wchar_t* wide) { return createDirectories(wide); },
                       [](const char* bytes) { return createDirectories(bytes); });
}

std::int64_t modificationTime(const char* path) {
    FILETIME written;
    return findModificationTime(path, written) ? secondsByLocalTime(written) : 0;
}

std::int64_t modificationTimeNs(const char* path) {
    FILETIME written;
    return findModificationTime(path, written) ? nanosecondsOf(written) : 0;
}

bool listDirectory(const char* path, NameCallback callback, void* context) {
    constexpr std::size_t kMaxUnits = 259;
    const bool isAsItStands = std::strncmp(path, R"(\\?\)", 4) == 0; // has no "/"
    wchar_t wide[kMaxUnits + std::size(L"/*")];
    if (toWide(path, wide, kMaxUnits + 1)) {
        const wchar_t* const everything = isAsItStands ? L"\\*" : L"/*";
        return list(WideListing(std::wcscat(wide, everything)), callback, context);
    }
    char bytes[kMaxUnits + std::size("/*")];
    if (std::strlen(path) > kMaxUnits) {
        return false;
    }
    const char* const everything = isAsItStands ? "\\*" : "/*";
    return list(AnsiListing(std::strcat(std::strcpy(bytes, path), everything)), callback, context);
}

void systemErrorText(SystemError error, char* buffer, std::size_t size) {
    constexpr DWORD kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
    strcpy_s(buffer, size, "Unknown error");
    // The mask keeps the text in one line; it leaves a space where the line ended.
    DWORD length = FormatMessageA(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, error, kEnglish, buffer, static_cast<DWORD>(size), nullptr);
    while (length > 0 && static_cast<unsigned char>(buffer[length - 1]) <= ' ') {
        buffer[--length] = 0;
    }
}

} // namespace platform
