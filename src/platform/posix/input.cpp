#include "platform/input.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/path.h"

#include <fcntl.h>
#include <unistd.h>

#include <climits>

namespace platform {

namespace {

SystemError readToEnd(int file, std::string& bytes) {
    char part[65536];
    ssize_t count = 1;
    while (count > 0 && bytes.size() <= INT_MAX) {
        count = uninterrupted([&] { return read(file, part, sizeof part); });
        bytes.append(part, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return count < 0 ? static_cast<SystemError>(errno) : 0;
}

} // namespace

SystemError readPath(const char* path, std::string& bytes) {
    const Descriptor file(uninterrupted(
        [&] { return open(nativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY); }));
    return file.isOpen() ? readToEnd(file.number(), bytes) : static_cast<SystemError>(errno);
}

SystemError readStandardInput(std::string& bytes) {
    return readToEnd(STDIN_FILENO, bytes);
}

} // namespace platform
