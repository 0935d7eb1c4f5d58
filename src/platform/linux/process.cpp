#include "platform/posix/process.h"

#include "platform/input.h"
#include "platform/posix/own_path.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

namespace platform {

std::optional<std::string> executablePath() {
    char path[4096];
    const ssize_t length = readlink(OwnPath("exe").text, path, sizeof path);
    if (length <= 0) {
        return std::nullopt;
    }
    std::string text(path, static_cast<std::size_t>(length));
    constexpr std::string_view kRemark = " (deleted)"; // by the system, when the file is replaced
    if (text.ends_with(kRemark) && access(text.c_str(), F_OK) != 0) {
        text.resize(text.size() - kRemark.size());
    }
    return text;
}

std::vector<std::string> rawArguments() {
    std::string bytes;
    Input input(OwnPath("cmdline").text);
    input.readToEnd(bytes, INT_MAX);
    if (input.error() != 0) {
        throw std::system_error(static_cast<int>(input.error()), std::generic_category());
    }
    if (bytes.empty()) { // or there is no /proc/thread-self
        throw std::system_error(ESRCH, std::generic_category());
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
