#include "platform/console.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace platform {

namespace {

std::atomic<bool> wanted{true};

bool leadsSomewhere(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return false;
    }
    const dev_t nullDevice = makedev(1, 3);
    return !(S_ISCHR(status.st_mode) && status.st_rdev == nullDevice);
}

} // namespace

void refreshEcho() {
    wanted.store(leadsSomewhere(STDERR_FILENO), std::memory_order_relaxed);
}

bool echoWanted() {
    return wanted.load(std::memory_order_relaxed);
}

void echo(const char* text, std::size_t length) {
    const int callersError = errno;
    while (length > 0) {
        const ssize_t written = write(STDERR_FILENO, text, length);
        if (written < 0 && errno != EINTR) {
            break;
        }
        if (written > 0) {
            text += written;
            length -= static_cast<std::size_t>(written);
        }
    }
    errno = callersError;
}

void alertBox(const char*, const char*) {} // the line on standard error is the alert

} // namespace platform
