// What several topics do with file descriptors.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>

namespace platform {

// 0 for an ordinary file, else the error that its opening is to fail with.
inline int requireOrdinaryFile(int file) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : ENXIO;
}

// Goes on where signals interrupt it, and where the system takes less in one call.
inline bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            write(file, bytes.data(), std::min<std::size_t>(bytes.size(), INT_MAX));
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace platform
