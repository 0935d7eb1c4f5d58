#include "platform/linux/spare_descriptors.h"

#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace platform {

// All are descriptors of one empty file in memory, which isMine recognises by its inode number.
void SpareDescriptors::hold() {
    if (isMine(files_[0])) {
        return;
    }
    files_[0] = aboveStandardStreams(memfd_create("spare", MFD_CLOEXEC));
    struct stat status {};
    if (files_[0] < 0) {
        return;
    }
    if (fstat(files_[0], &status) != 0) {
        close(std::exchange(files_[0], -1));
        return;
    }
    id_ = status.st_ino;
    for (int i = 1; i < kCount; ++i) {
        files_[i] = fcntl(files_[0], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
}

void SpareDescriptors::release() {
    for (int& file : files_) {
        if (isMine(file)) {
            close(std::exchange(file, -1));
        }
    }
}

bool SpareDescriptors::isMine(int file) const {
    struct stat status {};
    return file >= 0 && fstat(file, &status) == 0 && status.st_ino == id_ &&
           S_ISREG(status.st_mode) && status.st_nlink == 0;
}

} // namespace platform
