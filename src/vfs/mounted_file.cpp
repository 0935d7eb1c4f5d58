#include "vfs/mounted_file.h"

#include "platform/cut_text.h"
#include "platform/files.h"
#include "vfs/log.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace vfs {

bool saysMissing(PHYSFS_ErrorCode code) {
    switch (code) {
    case PHYSFS_ERR_NOT_FOUND:
    case PHYSFS_ERR_NOT_A_FILE:
    case PHYSFS_ERR_BAD_FILENAME:
    case PHYSFS_ERR_SYMLINK_FORBIDDEN:
        return true;
    default:
        return false;
    }
}

namespace {

bool isDevice(std::string_view segment) {
    char name[256];
    platform::copyCut(name, segment);
    return platform::leadsToDevice(name);
}

} // namespace

bool staysInTree(std::string_view path) {
    if (path.find_first_of(":\\") != std::string_view::npos) {
        return false;
    }
    path = path.substr(0, path.find_last_not_of('/') + 1);
    for (;;) {
        const std::size_t length = path.find('/');
        const std::string_view segment = path.substr(0, length);
        if (segment == "." || segment == "..") {
            return false;
        }
        if (length == std::string_view::npos) {
            return !isDevice(segment);
        }
        path.remove_prefix(length + 1);
    }
}

Opened openFirstCopy(const char* path) {
    if (!staysInTree(path)) {
        return {nullptr, true};
    }
    const Errors errors;
    Entry file(PHYSFS_openRead(path));
    const PHYSFS_ErrorCode error = errors.last();
    const bool isMissing = !errors.lackedMemory() && saysMissing(error);
    const bool isFirst = isMissing || (!errors.lackedMemory() && error == PHYSFS_ERR_OK);
    return {isFirst ? std::move(file) : nullptr, isMissing};
}

std::size_t readEntry(PHYSFS_File* file, void* buffer, std::size_t count) {
    auto* const bytes = static_cast<std::byte*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const PHYSFS_sint64 read = PHYSFS_readBytes(file, bytes + done, count - done);
        if (read <= 0) {
            break;
        }
        done += static_cast<std::size_t>(read);
    }
    return done;
}

std::unique_ptr<MountedFile> MountedFile::open(const char* path) noexcept {
    const platform::NoCancellation guard;
    std::unique_ptr<MountedFile> file(new (std::nothrow) MountedFile);
    if (file && file->visit_ && path != nullptr) {
        file->file_ = openFirstCopy(path).file;
    }
    const PHYSFS_sint64 size = file && file->file_ ? PHYSFS_fileLength(file->file_.get()) : -1;
    if (size < 0) {
        logLine(QZ_LOG_ERROR, "Can't open file %s.", path == nullptr ? "" : path);
        return nullptr;
    }
    file->size_ = static_cast<std::uint64_t>(size);
    return file;
}

MountedFile::~MountedFile() {
    const platform::NoCancellation guard;
    file_.reset(); // before the visit ends
}

std::size_t MountedFile::readAt(std::uint64_t position, void* buffer, std::size_t count) {
    constexpr std::uint64_t kUnknown = std::numeric_limits<std::uint64_t>::max();
    if (position >= size_) {
        return 0;
    }
    const platform::NoCancellation guard;
    if (position != position_ && PHYSFS_seek(file_.get(), position) == 0) {
        position_ = kUnknown;
        return 0;
    }
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - position));
    const std::size_t done = readEntry(file_.get(), buffer, count);
    position_ = done == count ? position + done : kUnknown;
    return done;
}

} // namespace vfs
