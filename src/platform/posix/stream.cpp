#include "platform/stream.h"

#include "platform/posix/path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

std::FILE* openTextForWriting(const char* path) {
    // O_NONBLOCK makes the opening of a pipe without a reader fail instead of wait; the writing
    // that follows is to wait.
    const int descriptor =
        open(nativePath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666);
    if (descriptor < 0) {
        return nullptr;
    }
    const int flags = fcntl(descriptor, F_GETFL);
    std::FILE* stream =
        fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0 ? fdopen(descriptor, "w") : nullptr;
    if (stream == nullptr) {
        close(descriptor);
    }
    return stream;
}

bool isOrdinaryFile(const char* path) {
    struct stat status {};
    return stat(nativePath(path).c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

void replaceFile(const char* from, const char* to) {
    unlink(nativePath(to).c_str());
    static_cast<void>(std::rename(nativePath(from).c_str(), nativePath(to).c_str()));
}

} // namespace platform
