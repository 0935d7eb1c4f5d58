#include "platform/posix/target_file.h"

#include <unistd.h>

#include <cstring>
#include <string_view>
#include <utility>

namespace platform {

SystemError TargetFile::locate(const char* path) {
    constexpr int kMostLinks = 40;
    if (!writeNativePath(path, path_, sizeof path_)) {
        return ENAMETOOLONG;
    }
    for (int links = 0; links < kMostLinks; ++links) {
        if (!enterDirectory()) {
            return lastError();
        }
        if (*name_ == 0) {
            return name_ == path_ ? ENOENT : EISDIR;
        }
        if (fstatat(directory(), name_, &status_, AT_SYMLINK_NOFOLLOW) != 0) {
            return errno == ENOENT && links == 0 ? 0 : lastError();
        }
        if (!S_ISLNK(status_.st_mode)) {
            exists_ = true;
            return static_cast<SystemError>(requireOrdinary(status_));
        }
        char text[kPathRoom];
        const ssize_t length = readlinkat(directory(), name_, text, sizeof text - 1);
        if (length < 0) {
            return lastError();
        }
        std::memcpy(path_, text, static_cast<std::size_t>(length));
        path_[length] = 0;
    }
    return ELOOP;
}

SystemError TargetFile::lookAgain() {
    exists_ = fstatat(directory(), name_, &status_, AT_SYMLINK_NOFOLLOW) == 0 &&
              !S_ISLNK(status_.st_mode);
    return exists_ ? static_cast<SystemError>(requireOrdinary(status_)) : 0;
}

Descriptor TargetFile::open(int flags) const {
    return Descriptor(aboveStandardStreams(uninterrupted([&] {
        return openat(directory(), name_, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    })));
}

// Opens the directory part of the path, relative to the directory of the link that it comes from.
// Only fsync and flock need read access, so the directory may lack it.
bool TargetFile::enterDirectory() {
    char* const slash = std::strrchr(path_, '/');
    name_ = slash == nullptr ? path_ : slash + 1;
    char text[kPathRoom];
    const std::string_view part =
        slash == nullptr ? "." : std::string_view(path_, static_cast<std::size_t>(name_ - path_));
    text[part.copy(text, part.size())] = 0;
    const auto open = [&](int access) {
        return Descriptor(uninterrupted(
            [&] { return openat(directory(), text, access | O_DIRECTORY | O_CLOEXEC); }));
    };
    Descriptor opened = open(O_RDONLY);
    if (!opened.isOpen() && errno == EACCES) {
        opened = open(O_PATH);
    }
    directory_ = std::move(opened);
    return directory_.isOpen();
}

} // namespace platform
