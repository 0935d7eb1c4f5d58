#include "platform/text_file.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/path.h"
#include "platform/posix/write_signals.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

namespace platform {

namespace {

bool isOpen(TextFile file) {
    return file.id.isOf(file.handle);
}

int descriptorOf(TextFile file) {
    return static_cast<int>(file.handle);
}

struct KernelPath : SystemPath {
    explicit KernelPath(const char* path) : SystemPath(path, Limit::theKernels) {}
};

// With O_NONBLOCK the opening of a pipe without a reader fails and does not wait. Writing is to
// wait, so the flag is taken off afterwards.
int openWithoutWaiting(const char* path) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NONBLOCK;
    const KernelPath native(path);
    const int descriptor = uninterrupted([&] { return open(native.text(), kFlags, 0666); });
    if (descriptor >= 0) {
        fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
    }
    return descriptor;
}

} // namespace

TextFile openTextFile(const char* path) {
    const int descriptor = aboveStandardStreams(openWithoutWaiting(path));
    return descriptor < 0 ? kNoTextFile : TextFile{descriptor, FileId(descriptor)};
}

std::size_t writeText(TextFile file, std::string_view text) {
    if (!isOpen(file)) {
        return 0;
    }
    const NoWriteSignals guard;
    return writeMost(descriptorOf(file), text);
}

bool takeBackText(TextFile file, std::string_view tail) {
    const int descriptor = descriptorOf(file);
    const off_t end =
        lseek(descriptor, 0, SEEK_CUR) - static_cast<off_t>(tail.size()); // negative for a pipe
    return end >= 0 && isOpen(file) && ftruncate(descriptor, end) == 0;
}

void closeTextFile(TextFile file) {
    if (isOpen(file)) {
        close(descriptorOf(file));
    }
}

bool isOrdinaryFile(const char* path) {
    struct stat status {};
    return stat(KernelPath(path).text(), &status) == 0 && S_ISREG(status.st_mode);
}

void replaceFile(const char* from, const char* to) {
    const KernelPath target(to);
    unlink(target.text());
    static_cast<void>(std::rename(KernelPath(from).text(), target.text()));
}

} // namespace platform
