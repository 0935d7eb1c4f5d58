#include "IO/FileStream.h"

#include "platform/cut_text.h"
#include "platform/thread.h"
#include "vfs/system_file.h"

#include <string_view>

namespace io {

namespace {

VFS_File* openAs(const char* path, FileStream::Mode mode) {
    switch (mode) {
    case FileStream::Mode::kWrite:
        return VFS_open_write(path);
    case FileStream::Mode::kAppend:
        return VFS_open_append(path);
    case FileStream::Mode::kReplace:
        return path == nullptr ? nullptr : vfs::openForReplacing(path);
    default:
        return VFS_open_read(path);
    }
}

std::uint64_t positionOf(VFS_File* file) {
    const std::int64_t position = VFS_tell(file);
    return position > 0 ? static_cast<std::uint64_t>(position) : 0;
}

} // namespace

FileStream::FileStream(VFS_File* file) : FileStream() {
    file_ = file;
    isReadable_ = isWritable_ = true;
    if (file == nullptr) {
        fail("no file");
        return;
    }
    filePosition_ = positionOf(file);
    seek(filePosition_);
}

FileStream::~FileStream() {
    const platform::NoCancellation guard; // a cancelled thread cannot end in here
    if (!isReplacing_) {
        flush();
    }
    closeFile();
}

bool FileStream::open(const char* path, Mode mode) {
    close();
    forgetErrors();
    isReadable_ = mode == Mode::kRead;
    isWritable_ = mode != Mode::kRead;
    isReplacing_ = mode == Mode::kReplace;
    rememberPath(path == nullptr ? "" : path);
    file_ = openAs(path, mode);
    filePosition_ = file_ != nullptr && mode == Mode::kAppend ? positionOf(file_) : 0;
    return file_ != nullptr ? seek(filePosition_) : fail("can't open the file", path_);
}

// Keeps the path for error texts; one that is too long is cut.
void FileStream::rememberPath(const char* path) {
    platform::copyCut(path_, path);
}

bool FileStream::close() {
    if (file_ == nullptr) {
        return isGood();
    }
    const bool isWhole = flush() && !hasFailed();
    if (isWhole && isReplacing_ && !vfs::takePlace(file_)) {
        fail("can't put the new contents in place of the old ones", path_);
    }
    closeFile();
    return !hasFailed();
}

void FileStream::closeFile() {
    VFS_close(file_);
    file_ = nullptr;
}

std::size_t FileStream::readAt(std::uint64_t position, void* data, std::size_t count) {
    if (!goTo(position, isReadable_)) {
        return 0;
    }
    auto* const bytes = static_cast<char*>(data);
    std::size_t done = VFS_read(file_, bytes, count);
    // Another program may have made the file longer since it ended here.
    while (done < count && position + done < sizeNow()) {
        const std::size_t more = VFS_read(file_, bytes + done, count - done);
        if (more == 0) {
            fail("can't read the file", path_);
            break;
        }
        done += more;
    }
    filePosition_ = position + done;
    return done;
}

std::size_t FileStream::writeAt(std::uint64_t position, const void* data, std::size_t count) {
    if (!goTo(position, isWritable_)) {
        return 0;
    }
    const std::size_t done = VFS_write(file_, data, count);
    filePosition_ = position + done;
    if (done < count) {
        fail("can't write to the file", path_);
    }
    return done;
}

std::uint64_t FileStream::sizeNow() {
    const std::int64_t size = file_ != nullptr ? VFS_getsize(file_) : 0;
    return size > 0 ? static_cast<std::uint64_t>(size) : 0;
}

bool FileStream::isWritable() const {
    return file_ != nullptr && isWritable_;
}

bool FileStream::goTo(std::uint64_t position, bool isAllowed) {
    if (file_ == nullptr) {
        return fail("no file is open");
    }
    if (!isAllowed) {
        return fail(isReadable_ ? "the file was opened for reading"
                                : "the file was opened for writing",
                    path_);
    }
    return position == filePosition_ || VFS_seek(file_, static_cast<std::int64_t>(position)) != 0 ||
           fail("can't move within the file", path_);
}

} // namespace io
