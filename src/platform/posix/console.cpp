#include "platform/console.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/write_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string_view>

// Null unless the program defines it. The reference here makes the linker export it from the
// program.
extern "C" __attribute__((weak)) unsigned int qz_log_echo_levels;

namespace platform {

namespace {

constinit std::atomic<bool> isEchoing{true};

bool leadsSomewhere(int descriptor) {
    struct stat status {};
    struct stat nowhere {};
    return fstat(descriptor, &status) == 0 &&
           !(S_ISCHR(status.st_mode) && stat("/dev/null", &nowhere) == 0 &&
             status.st_rdev == nowhere.st_rdev);
}

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

// Another process may have made a shared pipe or terminal non-blocking; this waits nevertheless.
bool waitUntilItTakesMore(int descriptor) {
    pollfd wish{descriptor, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&wish, 1, -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// Guarded each time: the host may redirect standard error at any moment, to a pipe for instance.
void writeGuarded(std::string_view text) {
    const NoWriteSignals guard;
    do {
        text.remove_prefix(writeMost(STDERR_FILENO, text));
    } while (!text.empty() && errno == EAGAIN && waitUntilItTakesMore(STDERR_FILENO));
}

} // namespace

// If standard error was closed when the library was loaded, there is never an echo: the file that
// gets its descriptor later belongs to somebody else.
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

void echo(const char* text, std::size_t length) {
    const int callersError = errno;
    writeGuarded({text, length});
    errno = callersError;
}

void alertBox(const char* /*text*/, const char* /*caption*/) {
    // The line on standard error is the alert.
}

} // namespace platform
