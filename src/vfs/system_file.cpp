#include "vfs/system_file.h"

#include "platform/cut_text.h"
#include "platform/file.h"
#include "platform/thread.h"
#include "platform/whole_file.h"
#include "vfs/log.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kPathRoom = 256;

// The name is in error texts. It is older than the library's support of Linux.
struct VFS_File_win32 {
    VFS_File base; // first, so that the handle is the object
    platform::File file;
    std::unique_ptr<platform::NewContents> contents; // the file's owner for openForReplacing
    platform::FileHandle handle;
    char path[kPathRoom];
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
    if (const platform::SystemError error = self->file.close(); error != 0) {
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

// One of the two owns the file.
VFS_File* makeFile(const char* path, platform::File file,
                   std::unique_ptr<platform::NewContents> contents = nullptr) {
    const platform::FileHandle handle = contents ? contents->file() : file.handle();
    auto* const self = new (std::nothrow)
        VFS_File_win32{{&kSystemFileOps}, std::move(file), std::move(contents), handle, ""};
    if (self == nullptr) {
        vfs::logLine(QZ_LOG_ERROR, "can't allocate struct VFS_File_win32 for %s", path);
        return nullptr;
    }
    platform::copyCut(self->path, path);
    return &self->base;
}

platform::File openOrReport(const char* path, platform::FileAccess access, const char* operation) {
    platform::File file(path, access);
    if (!file.isOpen()) {
        report(file.error(), "%s: CreateFile(%s)", operation, path);
    }
    return file;
}

} // namespace

namespace vfs {

VFS_File* openForReading(const char* path) {
    platform::File file(path, platform::FileAccess::read);
    return file.isOpen() ? makeFile(path, std::move(file)) : nullptr;
}

VFS_File* openForWriting(const char* path) {
    platform::File file = openOrReport(path, platform::FileAccess::write, "VFS_open_write");
    if (!file.isOpen()) {
        return nullptr;
    }
    if (const platform::SystemError error = file.truncate(); error != 0) {
        report(error, "SetEndOfFile(%s)", path);
    }
    return makeFile(path, std::move(file));
}

VFS_File* openForAppending(const char* path) {
    platform::File file = openOrReport(path, platform::FileAccess::append, "VFS_open_append");
    if (!file.isOpen()) {
        return nullptr;
    }
    if (const platform::SystemError error = file.seekEnd(); error != 0) {
        report(error, "SetFilePointerEx(%s, END)", path);
    }
    return makeFile(path, std::move(file));
}

VFS_File* openForReplacing(const char* path) {
    const platform::NoCancellation guard;
    platform::SystemError error = 0;
    std::unique_ptr<platform::NewContents> contents = platform::beginReplacement(path, error);
    if (!contents) {
        report(error, "can't replace %s", path);
        return nullptr;
    }
    return makeFile(path, {}, std::move(contents));
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
