#include "platform/console.h"

#include "platform/posix/broken_pipe.h"
#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

// Left empty by the linker unless the program has one; naming it here makes the linker export that.
extern "C" __attribute__((weak)) unsigned int qz_log_echo_levels;

namespace platform {

namespace {

enum class Echo : int { unknown, nowhere, toFile, toPipe };

constinit std::atomic<Echo> destination{Echo::unknown};

Echo inspect(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return Echo::nowhere;
    }
    const dev_t nullDevice = makedev(1, 3);
    if (S_ISCHR(status.st_mode) && status.st_rdev == nullDevice) {
        return Echo::nowhere;
    }
    return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) ? Echo::toPipe : Echo::toFile;
}

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

} // namespace

// A standard error that was closed when the library was loaded stays without an echo: whatever file
// gets its descriptor later is somebody else's.
void refreshEcho() {
    static const bool wasOpenAtLoad = isOpen(STDERR_FILENO);
    destination.store(wasOpenAtLoad ? inspect(STDERR_FILENO) : Echo::nowhere,
                      std::memory_order_relaxed);
}

const unsigned int* echoLevels() {
    return &qz_log_echo_levels;
}

bool echoWanted() {
    return destination.load(std::memory_order_relaxed) != Echo::nowhere;
}

void echo(const char* text, std::size_t length) {
    const int callersError = errno;
    if (destination.load(std::memory_order_relaxed) == Echo::toFile) {
        writeAll(STDERR_FILENO, {text, length});
    } else {
        const NoBrokenPipe guard;
        writeAll(STDERR_FILENO, {text, length});
    }
    errno = callersError;
}

void alertBox(const char* /*text*/, const char* /*caption*/) {
    // The line on standard error is the alert.
}

} // namespace platform
