#include "vfs/system_file.h"

#include "platform/files.h"
#include "platform/thread.h"
#include "platform/whole_file.h"
#include "vfs/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kPathRoom = 256;

// The name is in error texts. It is older than the library's support of Linux.
struct VFS_File_win32 {
    VFS_File base; // first, so that the handle is the object
    platform::FileHandle handle;
    bool isClaimed; // opened for writing
    char path[kPathRoom];
    std::unique_ptr<platform::NewContents> contents; // owns the handle of openForReplacing
};

VFS_File_win32& systemFile(VFS_File* file) {
    return *reinterpret_cast<VFS_File_win32*>(file);
}

void report(platform::SystemError error, const char* format, ...) QZ_PRINTF_LIKE(2, 3);

void report(platform::SystemError error, const char* format, ...) {
    char message[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    char reason[1024];
    platform::systemErrorText(error, reason, sizeof reason);
    vfs::logLine(QZ_LOG_ERROR, "%s: %s", message, reason);
}

void closeFile(VFS_File* file) {
    const platform::NoCancellation guard; // a cancelled thread would leave it open
    const std::unique_ptr<VFS_File_win32> self(&systemFile(file));
    if (self->contents) {
        return;
    }
    if (self->isClaimed) {
        platform::endClaim(self->handle);
    }
    if (const platform::SystemError error = platform::closeFile(self->handle); error != 0) {
        report(error, "CloseHandle(%s)", self->path);
    }
}

std::size_t readFile(VFS_File* file, void* buffer, std::size_t count) {
    platform::SystemError error = 0;
    const std::size_t done = platform::readFile(systemFile(file).handle, buffer, count, error);
    if (error != 0) {
        report(error, "ReadFile(%zu bytes)", count);
    }
    return done;
}

std::size_t writeFile(VFS_File* file, const void* buffer, std::size_t count) {
    platform::SystemError error = 0;
    const std::size_t done = platform::writeFile(systemFile(file).handle, buffer, count, error);
    if (error != 0) {
        report(error, "WriteFile(%zu bytes)", count);
    }
    return done;
}

int seekFile(VFS_File* file, std::int64_t position) {
    const platform::SystemError error = platform::seekFile(systemFile(file).handle, position);
    if (error != 0) {
        report(error, "SetFilePointerEx(%lld)", static_cast<long long>(position));
    }
    return error == 0 ? 1 : 0;
}

std::int64_t tellFile(VFS_File* file) {
    std::int64_t position = 0;
    const platform::SystemError error = platform::tellFile(systemFile(file).handle, position);
    if (error != 0) {
        report(error, "SetFilePointerEx(+0)");
    }
    return error == 0 ? position : 0;
}

std::int64_t getFileSize(VFS_File* file) {
    std::int64_t size = 0;
    const platform::SystemError error = platform::sizeFile(systemFile(file).handle, size);
    if (error != 0) {
        report(error, "GetFileSizeEx()");
    }
    return error == 0 ? size : 0;
}

constexpr VFS_FileOps kSystemFileOps = {closeFile, readFile, writeFile,
                                        seekFile,  tellFile, getFileSize};

void initialise(VFS_File_win32& file, platform::FileHandle handle, const char* path,
                bool isClaimed) {
    file.base.ops = &kSystemFileOps;
    file.handle = handle;
    file.isClaimed = isClaimed;
    const std::size_t length = strnlen(path, sizeof file.path - 1);
    std::memcpy(file.path, path, length);
    file.path[length] = 0;
}

// Takes over the system's handle, and closes it on failure.
VFS_File* makeFile(platform::FileHandle handle, const char* path, bool isClaimed) {
    auto* file = new (std::nothrow) VFS_File_win32;
    if (file == nullptr) {
        vfs::logLine(QZ_LOG_ERROR, "can't allocate struct VFS_File_win32 for %s", path);
        platform::closeFile(handle);
        return nullptr;
    }
    initialise(*file, handle, path, isClaimed);
    return &file->base;
}

platform::FileHandle openOrReport(const char* path, platform::FileAccess access,
                                  const char* operation) {
    platform::SystemError error = 0;
    const platform::FileHandle handle = platform::openFile(path, access, error);
    if (handle == platform::kNoFile) {
        report(error, "%s: CreateFile(%s)", operation, path);
    }
    return handle;
}

} // namespace

namespace vfs {

VFS_File* openForReading(const char* path) {
    platform::SystemError error = 0;
    const platform::FileHandle handle = platform::openFile(path, platform::FileAccess::read, error);
    return handle == platform::kNoFile ? nullptr : makeFile(handle, path, false);
}

VFS_File* openForWriting(const char* path) {
    const platform::FileHandle handle =
        openOrReport(path, platform::FileAccess::write, "VFS_open_write");
    if (handle == platform::kNoFile) {
        return nullptr;
    }
    if (const platform::SystemError error = platform::truncateFile(handle); error != 0) {
        report(error, "SetEndOfFile(%s)", path);
    }
    return makeFile(handle, path, true);
}

VFS_File* openForAppending(const char* path) {
    const platform::FileHandle handle =
        openOrReport(path, platform::FileAccess::append, "VFS_open_append");
    if (handle == platform::kNoFile) {
        return nullptr;
    }
    if (const platform::SystemError error = platform::seekFileEnd(handle); error != 0) {
        report(error, "SetFilePointerEx(%s, END)", path);
    }
    return makeFile(handle, path, true);
}

VFS_File* openForReplacing(const char* path) {
    const platform::NoCancellation guard;
    platform::SystemError error = 0;
    std::unique_ptr<platform::NewContents> contents = platform::beginReplacement(path, error);
    if (!contents) {
        report(error, "can't replace %s", path);
        return nullptr;
    }
    auto* const file = new (std::nothrow) VFS_File_win32;
    if (file == nullptr) {
        vfs::logLine(QZ_LOG_ERROR, "can't allocate struct VFS_File_win32 for %s", path);
        return nullptr;
    }
    initialise(*file, contents->file(), path, false);
    file->contents = std::move(contents);
    return &file->base;
}

bool takePlace(VFS_File* file) {
    const platform::NoCancellation guard;
    const VFS_File_win32& self = systemFile(file);
    const platform::SystemError error = self.contents->takePlace();
    if (error != 0) {
        report(error, "can't replace %s", self.path);
    }
    return error == 0;
}

} // namespace vfs
