#include "platform/files.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/last_error.h"
#include "platform/posix/path.h"
#include "platform/wait_until.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

namespace platform {

const char kSeparator = '/';

namespace {

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kNewDirectoryMode = 0777;

int descriptor(FileHandle file) {
    return static_cast<int>(file);
}

int openFlags(FileAccess access) {
    // Opening a pipe would wait for its other end without O_NONBLOCK, which ordinary files ignore.
    constexpr int kCommon = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    switch (access) {
    case FileAccess::read:
        return O_RDONLY | kCommon;
    case FileAccess::record:
        return O_WRONLY | O_CREAT | O_APPEND | O_DSYNC | kCommon;
    default:
        return O_WRONLY | O_CREAT | kCommon;
    }
}

// The lock belongs to the open file and ends with its last descriptor. On a file system without
// locks nothing refuses a second writer.
SystemError claim(int file, int kind) {
    if (uninterrupted([&] { return flock(file, kind | LOCK_NB); }) == 0) {
        return 0;
    }
    return errno == EWOULDBLOCK ? lastError() : 0;
}

SystemError claimForRecord(int file) {
    constexpr std::chrono::seconds kPatience{5};
    constexpr std::chrono::milliseconds kStep{10};
    SystemError error = 0;
    waitUntil(kPatience, kStep, [&] {
        error = claim(file, LOCK_EX);
        return error == 0;
    });
    return error;
}

// Only ordinary files have what the handle's operations promise: a position, a size, no waiting.
SystemError prepare(int file, FileAccess access) {
    const auto error = static_cast<SystemError>(requireOrdinaryFile(file));
    if (error != 0 || access == FileAccess::read) {
        return error;
    }
    return access == FileAccess::record ? claimForRecord(file) : claim(file, LOCK_EX);
}

// Repeats a transfer until everything is through, the file ends or something fails.
template<class Step>
std::size_t transfer(std::size_t count, SystemError& error, Step step) {
    error = 0;
    std::size_t done = 0;
    while (done < count) {
        const ssize_t moved = uninterrupted([&] { return step(done, count - done); });
        if (moved < 0) {
            error = lastError();
        }
        if (moved <= 0) {
            break;
        }
        done += static_cast<std::size_t>(moved);
    }
    return done;
}

SystemError moveTo(FileHandle file, off_t offset, int origin) {
    return lseek(descriptor(file), offset, origin) < 0 ? lastError() : 0;
}

DIR* openDirectory(const char* path) {
    DIR* directory = opendir(path);
    while (directory == nullptr && errno == EINTR) {
        directory = opendir(path);
    }
    return directory;
}

} // namespace

FileHandle openFile(const char* path, FileAccess access, SystemError& error) {
    const SystemPath native(path, access == FileAccess::record
                                      ? SystemPath::Limit::theKernels
                                      : SystemPath::Limit::asOnTheOtherSystem);
    if (!native.fits()) {
        error = ENAMETOOLONG;
        return kNoFile;
    }
    const int file = aboveStandardStreams(
        uninterrupted([&] { return open(native.text(), openFlags(access), kNewFileMode); }));
    error = file < 0 ? lastError() : prepare(file, access);
    if (error == 0) {
        return file;
    }
    if (file >= 0) {
        close(file);
    }
    return kNoFile;
}

FileHandle openFileWaiting(const char* path, SystemError& error) {
    return openFile(path, FileAccess::read, error);
}

bool keepWritersOut(FileHandle file) {
    return claim(descriptor(file), LOCK_SH) == 0;
}

void endClaim(FileHandle file) {
    flock(descriptor(file), LOCK_UN);
}

SystemError closeFile(FileHandle file) {
    // An interrupted call has closed the file; a second call could close another thread's file.
    return close(descriptor(file)) == 0 || errno == EINTR ? 0 : lastError();
}

std::size_t readFile(FileHandle file, void* buffer, std::size_t count, SystemError& error) {
    return transfer(count, error, [&](std::size_t done, std::size_t left) {
        return read(descriptor(file), static_cast<char*>(buffer) + done, left);
    });
}

std::size_t readFileAt(FileHandle file, std::uint64_t position, void* buffer, std::size_t count,
                       SystemError& error) {
    return transfer(count, error, [&](std::size_t done, std::size_t left) {
        return pread(descriptor(file), static_cast<char*>(buffer) + done, left,
                     static_cast<off_t>(position + done));
    });
}

std::size_t writeFile(FileHandle file, const void* buffer, std::size_t count, SystemError& error) {
    return transfer(count, error, [&](std::size_t done, std::size_t left) {
        return write(descriptor(file), static_cast<const char*>(buffer) + done, left);
    });
}

SystemError truncateFile(FileHandle file) {
    std::int64_t position = 0;
    if (const SystemError error = tellFile(file, position); error != 0) {
        return error;
    }
    const int result = uninterrupted([&] { return ftruncate(descriptor(file), position); });
    return result < 0 ? lastError() : 0;
}

SystemError seekFile(FileHandle file, std::int64_t position) {
    return moveTo(file, position, SEEK_SET);
}

SystemError seekFileEnd(FileHandle file) {
    return moveTo(file, 0, SEEK_END);
}

SystemError tellFile(FileHandle file, std::int64_t& position) {
    position = lseek(descriptor(file), 0, SEEK_CUR);
    return position < 0 ? lastError() : 0;
}

SystemError sizeFile(FileHandle file, std::int64_t& size) {
    struct stat status;
    if (fstat(descriptor(file), &status) != 0) {
        return lastError();
    }
    size = status.st_size;
    return 0;
}

PathKind pathKind(const char* path) {
    struct stat status;
    if (stat(SystemPath(path).text(), &status) != 0) {
        return PathKind::missing;
    }
    return S_ISDIR(status.st_mode) ? PathKind::directory : PathKind::file;
}

bool leadsToDevice(const char*) {
    return false;
}

bool leadsToStream(const char*) {
    return false;
}

bool isReadable(const char* path) {
    return access(SystemPath(path).text(), R_OK) == 0;
}

bool removePath(const char* path) {
    const SystemPath native(path);
    struct stat status;
    if (lstat(native.text(), &status) != 0) {
        return false;
    }
    return (S_ISDIR(status.st_mode) ? rmdir(native.text()) : unlink(native.text())) == 0;
}

bool makeDirectories(const char* path) {
    char full[kPathRoom];
    return resolvePath(SystemPath(path).text(), full, sizeof full) &&
           createDirectories(full, kNewDirectoryMode);
}

std::int64_t modificationTime(const char* path) {
    struct stat status;
    return stat(SystemPath(path).text(), &status) == 0 ? status.st_mtime : 0;
}

std::int64_t modificationTimeNs(const char* path) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max() / kSecond - 1;
    struct stat status;
    if (stat(SystemPath(path).text(), &status) != 0) {
        return 0;
    }
    const std::int64_t seconds = std::clamp<std::int64_t>(status.st_mtim.tv_sec, -kLast, kLast);
    return seconds * kSecond + status.st_mtim.tv_nsec;
}

bool listDirectory(const char* path, NameCallback callback, void* context) {
    // The callback may throw.
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(
        openDirectory(*path == 0 ? "/" : SystemPath(path).text()), closedir);
    if (!directory) {
        return false;
    }
    // Not every file system lists these two, or lists them first.
    callback(context, ".");
    callback(context, "..");
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
        if (!isSelfOrParent(entry->d_name)) {
            callback(context, entry->d_name);
        }
        errno = 0;
    }
    return errno == 0;
}

void systemErrorText(SystemError error, char* buffer, std::size_t size) {
    const char* text = strerrordesc_np(static_cast<int>(error)); // never translated
    std::snprintf(buffer, size, "%s", text == nullptr ? "Unknown error" : text);
}

} // namespace platform
