// Where the system tells about this process.
#pragma once

#include <unistd.h>

#include <string_view>

namespace platform {

// The path of a file in /proc. /proc/self belongs to the first thread, and is empty when that has
// ended. May be used in signal handlers.
struct OwnPath {
    explicit OwnPath(std::string_view name) {
        char byte = 0;
        const bool isSelfAlive = readlink("/proc/self/exe", &byte, 1) > 0;
        const std::string_view folder = isSelfAlive ? "/proc/self/" : "/proc/thread-self/";
        folder.copy(text, folder.size());
        name.copy(text + folder.size(), sizeof text - folder.size() - 1);
    }

    char text[32] = {};
};

} // namespace platform
