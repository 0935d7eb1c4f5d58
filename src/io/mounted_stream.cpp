#include "IO/FileStream.h"

#include "vfs/mounted_file.h"

namespace io {

MountedStream::MountedStream(const char* path) : file_(vfs::MountedFile::open(path)) {
    if (!file_) {
        fail("can't open the mounted file", path == nullptr ? "" : path);
    }
}

MountedStream::~MountedStream() = default;

std::size_t MountedStream::readAt(std::uint64_t position, void* data, std::size_t count) {
    if (!file_) {
        fail("no file is open");
        return 0;
    }
    const std::size_t done = file_->readAt(position, data, count);
    if (done < count && position + done < file_->size()) {
        fail("can't read the mounted file");
    }
    return done;
}

std::uint64_t MountedStream::sizeNow() {
    return file_ ? file_->size() : 0;
}

} // namespace io
