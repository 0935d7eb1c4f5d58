// Reading to the end whatever can be read: files, those of /proc, pipes, devices, standard input.
#pragma once

#include "platform/files.h"

#include <string>

namespace platform {

class Input {
public:
    Input();                          // standard input
    explicit Input(const char* path); // `error` tells why it could not be opened
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // Waits for bytes that come late: fewer than `count` are the end, or there was an error.
    std::size_t read(void* buffer, std::size_t count);

    // Appends everything up to the end, or to a little more than `most` bytes. Throws
    // std::bad_alloc.
    void readToEnd(std::string& bytes, std::size_t most) {
        char part[65536];
        std::size_t count = sizeof part;
        while (count == sizeof part && bytes.size() <= most) {
            count = read(part, sizeof part);
            bytes.append(part, count);
        }
    }

    // Of what went wrong first; 0 is success. Directories are an error.
    SystemError error() const { return error_; }

private:
    FileHandle file_ = kNoFile;
    bool isOwn_ = false; // to be closed
    SystemError error_ = 0;
};

} // namespace platform
