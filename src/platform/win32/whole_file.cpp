#include "platform/whole_file.h"

#include "platform/save_turn.h"
#include "platform/win32/handle.h"
#include "platform/win32/path_target.h"
#include "platform/win32/sharing.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cwchar>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

namespace platform {

namespace {

constexpr std::size_t kPathUnits = MAX_PATH + 1;
constexpr std::size_t kFullUnits = 2 * kPathUnits; // a directory's path and one relative to it
constexpr std::size_t kTemporaryUnits = kFullUnits + 32;

// Stands behind the beginning of the replaced file's name, which is cut so that everything fits.
constexpr wchar_t kMark[] = L".qzsave-";
constexpr std::size_t kMostOfName = 200;

// Makes an existing file writable for this object's lifetime, or for good if keep() is called.
class WritableFile {
public:
    WritableFile(const wchar_t* path, DWORD attributes)
        : path_(path)
        , attributes_(attributes)
        , isChanged_((attributes & FILE_ATTRIBUTE_READONLY) != 0 &&
                     SetFileAttributesW(
                         path, attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) != 0) {}
    ~WritableFile() {
        if (isChanged_) {
            SetFileAttributesW(path_, attributes_);
        }
    }
    WritableFile(const WritableFile&) = delete;
    WritableFile& operator=(const WritableFile&) = delete;

    void keep() { isChanged_ = false; }

private:
    const wchar_t* path_;
    DWORD attributes_;
    bool isChanged_;
};

struct Target {
    wchar_t path[kFullUnits]; // absolute: the current directory may change
    bool exists;
    DWORD attributes; // for the new file
};

SystemError locate(const char* path, Target& target) {
    wchar_t given[kPathUnits];
    if (!toWide(path, given, kPathUnits)) {
        return ERROR_PATH_NOT_FOUND;
    }
    // A stream cannot be replaced, and a file beside a device may itself be a device.
    if (targetOf(given) != PathTarget::file) {
        return ERROR_INVALID_NAME;
    }
    const DWORD length = GetFullPathNameW(given, kFullUnits, target.path, nullptr);
    if (length == 0 || length >= kFullUnits) {
        return ERROR_PATH_NOT_FOUND;
    }
    const DWORD attributes = GetFileAttributesW(target.path);
    target.exists = attributes != INVALID_FILE_ATTRIBUTES;
    target.attributes = target.exists ? attributes : FILE_ATTRIBUTE_NORMAL;
    if (!target.exists) {
        return GetLastError() == ERROR_FILE_NOT_FOUND ? 0 : GetLastError();
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ERROR_ACCESS_DENIED : 0;
}

const wchar_t* nameIn(const wchar_t* path) {
    const wchar_t* name = path;
    for (const wchar_t* at = path; *at != 0; ++at) {
        name = *at == L'/' || *at == L'\\' || *at == L':' ? at + 1 : name;
    }
    return name;
}

// Writes a name that ends in the mark and `rest`, in the directory of another file.
void nameBeside(const wchar_t* path, const wchar_t* rest, wchar_t (&name)[kTemporaryUnits]) {
    const auto folder = static_cast<std::size_t>(nameIn(path) - path);
    const std::size_t length = std::min(std::wcslen(path), folder + kMostOfName);
    std::swprintf(name, std::size(name), L"%.*ls%ls%ls", static_cast<int>(length), path, kMark,
                  rest);
}

// Whether a text is what a temporary name ends in: the number of a process, "-" and a count.
bool isTemporaryEnd(const wchar_t* text) {
    const auto skipNumber = [&text] {
        const wchar_t* const begin = text;
        while (*text >= L'0' && *text <= L'9') {
            ++text;
        }
        return text != begin;
    };
    return skipNumber() && *text++ == L'-' && skipNumber() && *text == 0;
}

// Removes files of dead processes. Those of living ones are open, so the system keeps them.
void removeAbandoned(const wchar_t* path) {
    wchar_t pattern[kTemporaryUnits];
    nameBeside(path, L"*", pattern);
    const auto folder = static_cast<std::size_t>(nameIn(pattern) - pattern);
    const std::size_t begin = std::wcslen(pattern) - folder - 1; // without the "*"
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(pattern, &found);
    for (bool more = search != INVALID_HANDLE_VALUE; more;
         more = FindNextFileW(search, &found) != 0) {
        if (std::wcslen(found.cFileName) < begin || !isTemporaryEnd(found.cFileName + begin)) {
            continue;
        }
        wchar_t name[kTemporaryUnits + MAX_PATH];
        std::swprintf(name, std::size(name), L"%.*ls%ls", static_cast<int>(folder), pattern,
                      found.cFileName);
        DeleteFileW(name);
    }
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
}

// The access list for the new file. Without it the file gets that of its directory.
class AccessList {
public:
    bool read(const Target& target) {
        if (target.exists) {
            DWORD needed = 0;
            descriptor_ = bytes_;
            return GetFileSecurityW(target.path, DACL_SECURITY_INFORMATION, bytes_, sizeof bytes_,
                                    &needed) != 0;
        }
        return true;
    }

    SECURITY_ATTRIBUTES attributes() { return {sizeof(SECURITY_ATTRIBUTES), descriptor_, FALSE}; }

private:
    alignas(void*) std::byte bytes_[16384];
    void* descriptor_ = nullptr;
};

// The new file is not shared: nobody else can open it while it is open here.
HANDLE createBeside(const Target& target, AccessList& access) {
    static constinit std::atomic<unsigned int> count{0};
    wchar_t rest[32];
    std::swprintf(rest, std::size(rest), L"%lu-%u", GetCurrentProcessId(),
                  count.fetch_add(1, std::memory_order_relaxed));
    wchar_t name[kTemporaryUnits];
    nameBeside(target.path, rest, name);
    SECURITY_ATTRIBUTES security = access.attributes();
    return CreateFileW(name, GENERIC_WRITE | DELETE, 0, &security, CREATE_NEW,
                       target.attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY), nullptr);
}

bool writeAll(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        constexpr std::size_t kMaxTransfer = 0x40000000;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMaxTransfer));
        DWORD written = 0;
        if (!WriteFile(file, bytes.data(), wanted, &written, nullptr) || written == 0) {
            return false;
        }
        bytes.remove_prefix(written);
    }
    return true;
}

// Gives an open file another name; a file that has the name is replaced.
bool tryToRename(HANDLE file, const wchar_t* name) {
    alignas(FILE_RENAME_INFO) std::byte room[sizeof(FILE_RENAME_INFO) + sizeof(Target::path)] = {};
    auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(room);
    info->ReplaceIfExists = TRUE;
    info->FileNameLength = static_cast<DWORD>(std::wcslen(name) * sizeof(wchar_t));
    std::copy_n(name, std::wcslen(name), info->FileName);
    return SetFileInformationByHandle(file, FileRenameInfo, info, sizeof room) != 0;
}

// Waits for those who have just opened the file that is replaced: they may be reading it.
bool rename(HANDLE file, const wchar_t* name) {
    return waitForOthers([&] { return tryToRename(file, name); }, ERROR_ACCESS_DENIED);
}

void removeOpenFile(HANDLE file) {
    FILE_DISPOSITION_INFO remove{TRUE};
    SetFileInformationByHandle(file, FileDispositionInfo, &remove, sizeof remove);
}

bool takePlace(HANDLE file, const Target& target) {
    if (!FlushFileBuffers(file) || !rename(file, target.path)) {
        return false;
    }
    FlushFileBuffers(file); // the name, too
    return true;
}

Replacement replaceByNewFile(const Target& target, HANDLE file, std::string_view bytes) {
    if (writeAll(file, bytes) && takePlace(file, target)) {
        return {};
    }
    const SystemError error = GetLastError();
    removeOpenFile(file);
    return {error, true};
}

bool setEnd(HANDLE file, LONGLONG size) {
    LARGE_INTEGER end;
    end.QuadPart = size;
    return SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && SetEndOfFile(file);
}

bool setPosition(HANDLE file, LONGLONG position) {
    LARGE_INTEGER to;
    to.QuadPart = position;
    return SetFilePointerEx(file, to, nullptr, FILE_BEGIN) != 0;
}

// Opens the file only if nobody else has it open: a file that is mapped cannot get shorter.
Replacement writeInPlace(const Target& target, std::string_view bytes) {
    const Handle file(
        CreateFileW(target.path, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) {
        return {GetLastError(), false};
    }
    LARGE_INTEGER old;
    if (GetFileType(file.get()) != FILE_TYPE_DISK || !GetFileSizeEx(file.get(), &old)) {
        return {ERROR_BAD_FILE_TYPE, false};
    }
    const auto size = static_cast<LONGLONG>(bytes.size());
    if (size > old.QuadPart && !setEnd(file.get(), size)) {
        const SystemError error = GetLastError();
        setEnd(file.get(), old.QuadPart);
        return {error, true};
    }
    const bool isWritten = setPosition(file.get(), 0) && writeAll(file.get(), bytes) &&
                           SetEndOfFile(file.get()) && FlushFileBuffers(file.get());
    return {isWritten ? 0 : GetLastError(), true};
}

Replacement replace(const Target& target, std::string_view bytes) {
    AccessList access;
    if (access.read(target)) {
        const Handle file(createBeside(target, access));
        if (file) {
            return replaceByNewFile(target, file.get(), bytes);
        }
    }
    const SystemError error = GetLastError();
    const bool isRefusal = error == ERROR_ACCESS_DENIED || error == ERROR_INSUFFICIENT_BUFFER;
    return target.exists && isRefusal ? writeInPlace(target, bytes) : Replacement{error, false};
}

class NewFile final : public NewContents {
public:
    ~NewFile() override {
        if (file_ && !hasTakenPlace_) {
            removeOpenFile(file_.get());
        }
    }

    SystemError begin(const char* path) {
        if (const SystemError error = locate(path, target_); error != 0) {
            return error;
        }
        if ((target_.attributes & FILE_ATTRIBUTE_READONLY) != 0) {
            return ERROR_ACCESS_DENIED;
        }
        removeAbandoned(target_.path);
        AccessList access;
        if (access.read(target_)) {
            file_ = Handle(createBeside(target_, access));
        }
        return file_ ? 0 : GetLastError();
    }

    FileHandle file() const override { return reinterpret_cast<FileHandle>(file_.get()); }

    SystemError takePlace() noexcept override {
        char path[3 * kFullUnits]; // no unit makes more bytes
        fromWide(target_.path, path, sizeof path);
        const SaveTurn turn(path);
        hasTakenPlace_ = platform::takePlace(file_.get(), target_);
        return hasTakenPlace_ ? 0 : GetLastError();
    }

private:
    Target target_;
    Handle file_;
    bool hasTakenPlace_ = false;
};

} // namespace

Replacement replaceContents(const char* path, std::string_view bytes,
                            WriteProtected writeProtected) noexcept {
    Target target;
    if (const SystemError error = locate(path, target); error != 0) {
        return {error, false};
    }
    const bool isReadOnly = (target.attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (isReadOnly && writeProtected == WriteProtected::refuse) {
        return {ERROR_ACCESS_DENIED, false};
    }
    removeAbandoned(target.path);
    WritableFile writable(target.path, target.attributes);
    const Replacement result = replace(target, bytes);
    if (result) {
        writable.keep();
    }
    return result;
}

std::unique_ptr<NewContents> beginReplacement(const char* path, SystemError& error) noexcept {
    std::unique_ptr<NewFile> contents(new (std::nothrow) NewFile);
    error = contents ? contents->begin(path) : ERROR_NOT_ENOUGH_MEMORY;
    return error == 0 ? std::move(contents) : nullptr;
}

} // namespace platform
