#include "platform/file_id.h"

#include <sys/stat.h>

#include <cerrno>

namespace platform {

FileId::FileId(std::intptr_t handle) {
    struct stat status {};
    if (fstat(static_cast<int>(handle), &status) == 0) {
        device_ = status.st_dev;
        number_ = status.st_ino;
    }
}

bool FileId::isOf(std::intptr_t handle) const {
    struct stat status {};
    if (fstat(static_cast<int>(handle), &status) != 0) {
        return errno != EBADF;
    }
    return number_ == 0 || (device_ == status.st_dev && number_ == status.st_ino);
}

} // namespace platform
