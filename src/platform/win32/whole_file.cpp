#include "platform/whole_file.h"

#include "platform/win32/wide.h"

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = MAX_PATH + 1;
constexpr std::size_t kNameUnits = kPathUnits + 32;

class Handle {
public:
    explicit Handle(HANDLE handle) : handle_(handle) {}
    ~Handle() {
        if (isOpen()) {
            CloseHandle(handle_);
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

// A name of this process's own in the directory of another file, where it can take its place.
void nameBeside(const wchar_t* path, wchar_t (&name)[kNameUnits]) {
    std::swprintf(name, std::size(name), L"%ls.%lu-%lu.tmp", path, GetCurrentProcessId(),
                  GetCurrentThreadId());
}

bool writeNew(const wchar_t* path, std::string_view bytes) {
    const Handle file(CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.isOpen()) {
        return false;
    }
    while (!bytes.empty()) {
        constexpr std::size_t kMaxTransfer = 0x40000000;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMaxTransfer));
        DWORD written = 0;
        if (!WriteFile(file.get(), bytes.data(), wanted, &written, nullptr) || written == 0) {
            return false;
        }
        bytes.remove_prefix(written);
    }
    return FlushFileBuffers(file.get()) != 0;
}

// Nothing can take the place of a file that is not writable.
bool makeWritable(const wchar_t* path) {
    const DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0) {
        return true;
    }
    return SetFileAttributesW(path, attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) != 0;
}

} // namespace

bool replaceContents(const char* path, std::string_view bytes) {
    wchar_t target[kPathUnits];
    wchar_t name[kNameUnits];
    if (!toWide(path, target, kPathUnits)) {
        return false;
    }
    nameBeside(target, name);
    const bool isReplaced =
        writeNew(name, bytes) && makeWritable(target) &&
        MoveFileExW(name, target, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
    if (!isReplaced) {
        DeleteFileW(name);
    }
    return isReplaced;
}

} // namespace platform
