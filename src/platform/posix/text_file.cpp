#include "platform/text_file.h"

#include "platform/posix/broken_pipe.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace platform {

namespace {

int descriptorOf(TextFile file) {
    return static_cast<int>(file);
}

// O_NONBLOCK makes the opening of a pipe without a reader fail instead of wait; the writing that
// follows is to wait.
int openWithoutWaiting(const char* path) {
    const int descriptor =
        open(nativePath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666);
    if (descriptor >= 0) {
        fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    }
    return descriptor;
}

} // namespace

// Never one of the three standard descriptors, even if the process has closed them: what is written
// to standard error must not land in a log file.
TextFile openTextFile(const char* path) {
    const int descriptor = openWithoutWaiting(path);
    if (descriptor > STDERR_FILENO || descriptor < 0) {
        return descriptor < 0 ? kNoTextFile : descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(descriptor);
    return moved < 0 ? kNoTextFile : moved;
}

void writeText(TextFile file, const char* text, std::size_t length) {
    const NoBrokenPipe guard;
    writeAll(descriptorOf(file), {text, length});
}

void writeTextWithoutLock(TextFile file, const char* text, std::size_t length) {
    writeText(file, text, length); // there is no lock in it
}

void closeTextFile(TextFile file) {
    close(descriptorOf(file));
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
