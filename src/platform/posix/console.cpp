#include "platform/console.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/write_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string_view>

// Left empty by the linker unless the program has one; naming it here makes the linker export that.
extern "C" __attribute__((weak)) unsigned int qz_log_echo_levels;

namespace platform {

namespace {

constinit std::atomic<bool> isEchoing{true};

bool leadsSomewhere(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return false;
    }
    const dev_t nullDevice = makedev(1, 3);
    return !S_ISCHR(status.st_mode) || status.st_rdev != nullDevice;
}

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

// Whoever shares a pipe or terminal may have made it non-blocking; it is waited for all the same.
bool waitUntilItTakesMore(int descriptor) {
    pollfd wish{descriptor, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&wish, 1, -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace

// A standard error that was closed when the library was loaded stays without an echo: whatever file
// gets its descriptor later is somebody else's.
void refreshEcho() {
    static const bool wasOpenAtLoad = isOpen(STDERR_FILENO);
    isEchoing.store(wasOpenAtLoad && leadsSomewhere(STDERR_FILENO), std::memory_order_relaxed);
}

const unsigned int* echoLevels() {
    return &qz_log_echo_levels;
}

bool echoWanted() {
    return isEchoing.load(std::memory_order_relaxed);
}

// What standard error is may change at any time: a host that redirects it, to a pipe for instance,
// asks nobody.
void echo(const char* text, std::size_t length) {
    const int callersError = errno;
    const NoWriteSignals guard;
    std::string_view left(text, length);
    do {
        left.remove_prefix(writeMost(STDERR_FILENO, left));
    } while (!left.empty() && errno == EAGAIN && waitUntilItTakesMore(STDERR_FILENO));
    errno = callersError;
}

void alertBox(const char* /*text*/, const char* /*caption*/) {
    // The line on standard error is the alert.
}

} // namespace platform
