// Reads anything to its end: files, those of /proc too, pipes, standard input, and on Linux
// devices.
#pragma once

#include "platform/files.h"

#include <string>

namespace platform {

class Input {
public:
    Input();                          // standard input
    explicit Input(const char* path); // error() tells why it could not be opened
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // Waits until `count` bytes have come. Fewer mean the end or an error.
    std::size_t read(void* buffer, std::size_t count);

    // Appends everything up to the end, but stops soon after `bytes` is longer than `most`. Throws
    // std::bad_alloc.
    void readToEnd(std::string& bytes, std::size_t most) {
        char part[4096]; // the caller's stack may be small
        std::size_t count = sizeof part;
        while (count == sizeof part && bytes.size() <= most) {
            count = read(part, sizeof part);
            bytes.append(part, count);
        }
    }

    // The first error; 0 is success. Opening or reading a directory is an error.
    SystemError error() const { return error_; }

private:
    FileHandle file_ = kNoFile;
    bool isOwn_ = false; // the destructor closes it
    SystemError error_ = 0;
};

} // namespace platform
