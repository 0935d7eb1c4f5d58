#include "platform/posix/process.h"

#include "platform/input.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <system_error>

namespace platform {

std::optional<std::string> executablePath() {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::optional(std::string(path, static_cast<std::size_t>(length)))
                      : std::nullopt;
}

std::vector<std::string> rawArguments() {
    std::string bytes;
    Input input("/proc/self/cmdline");
    input.readToEnd(bytes, INT_MAX);
    if (input.error() != 0) {
        throw std::system_error(static_cast<int>(input.error()), std::generic_category());
    }
    std::vector<std::string> arguments;
    for (auto begin = bytes.begin(); begin != bytes.end();) {
        const auto end = std::find(begin, bytes.end(), '\0');
        arguments.emplace_back(begin, end);
        begin = end == bytes.end() ? end : end + 1;
    }
    return arguments;
}

} // namespace platform
