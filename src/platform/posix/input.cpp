#include "platform/input.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/path.h"

#include <fcntl.h>
#include <unistd.h>

namespace platform {

Input::Input() : file_(STDIN_FILENO) {}

Input::Input(const char* path)
    : file_(uninterrupted(
          [&] { return open(nativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY); }))
    , isOwn_(file_ != kNoFile)
    , error_(isOwn_ ? 0 : static_cast<SystemError>(errno)) {}

Input::~Input() {
    if (isOwn_) {
        closeFile(file_);
    }
}

std::size_t Input::read(void* buffer, std::size_t count) {
    return error_ == 0 ? readFile(file_, buffer, count, error_) : 0;
}

} // namespace platform
