// An open file and its owner.
#pragma once

#include "platform/files.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace platform {

// Closes its file and ends its claim. Allocates and throws nothing, so the handler of a crash may
// use it. After the first error, which it keeps, it neither reads nor writes.
class File {
public:
    File() = default; // no file
    File(const char* path, FileAccess access)
        : handle_(openFile(path, access, error_)), isClaimed_(access != FileAccess::read) {}

    // Opens as openFileWaiting does.
    static File waiting(const char* path) {
        File file;
        file.handle_ = openFileWaiting(path, file.error_);
        return file;
    }

    File(File&& other) noexcept
        : error_(other.error_)
        , handle_(std::exchange(other.handle_, kNoFile))
        , isClaimed_(other.isClaimed_) {}
    File& operator=(File&&) = delete;
    ~File() { close(); }

    bool isOpen() const { return handle_ != kNoFile; }
    FileHandle handle() const { return handle_; }

    // What went wrong first, in opening or later; 0 for nothing.
    SystemError error() const { return error_; }

    // Claims a file that is open for reading.
    bool keepWritersOut() { return isClaimed_ = platform::keepWritersOut(handle_); }

    std::size_t read(void* buffer, std::size_t count) {
        return error_ == 0 ? readFile(handle_, buffer, count, error_) : 0;
    }

    void write(const void* bytes, std::size_t count) {
        if (error_ == 0) {
            writeFile(handle_, bytes, count, error_);
        }
    }

    // Keeps no error, so that threads may share the file.
    std::size_t readAt(std::uint64_t position, void* buffer, std::size_t count,
                       SystemError& error) const {
        return readFileAt(handle_, position, buffer, count, error);
    }

    // -1 if the system does not say.
    std::int64_t size() const {
        std::int64_t size = 0;
        return sizeFile(handle_, size) == 0 ? size : -1;
    }

    // Both return their own error.
    SystemError truncate() { return kept(truncateFile(handle_)); }
    SystemError seekEnd() { return kept(seekFileEnd(handle_)); }

    // Returns the error of closing, 0 if no file is open.
    SystemError close() {
        if (!isOpen()) {
            return 0;
        }
        if (isClaimed_) {
            endClaim(handle_);
        }
        return kept(closeFile(std::exchange(handle_, kNoFile)));
    }

    // Leaves the file open, if it is.
    void release() { handle_ = kNoFile; }

private:
    SystemError kept(SystemError error) {
        error_ = error_ != 0 ? error_ : error;
        return error;
    }

    SystemError error_ = 0;
    FileHandle handle_ = kNoFile;
    bool isClaimed_ = false;
};

} // namespace platform
