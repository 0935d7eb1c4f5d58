#include "platform/linux/mappings.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

class LineReader {
public:
    explicit LineReader(const char* path) : file_(open(path, O_RDONLY | O_CLOEXEC)) {}
    ~LineReader() {
        if (file_ >= 0) {
            close(file_);
        }
    }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // The next line without its end, cut if it is too long; false at the end of the file.
    bool next(char* line, std::size_t size) {
        std::size_t length = 0;
        for (char byte = 0; take(byte);) {
            if (byte == '\n') {
                line[length] = 0;
                return true;
            }
            if (length + 1 < size) {
                line[length++] = byte;
            }
        }
        return false;
    }

private:
    bool take(char& byte) {
        if (position_ == filled_) {
            const ssize_t count = file_ >= 0 ? read(file_, buffer_, sizeof buffer_) : 0;
            if (count <= 0) {
                return false;
            }
            filled_ = static_cast<std::size_t>(count);
            position_ = 0;
        }
        byte = buffer_[position_++];
        return true;
    }

    int file_;
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    char buffer_[2048];
};

// One line: "7f00-7f10 r-xp 00000000 08:01 1234    /lib/x.so".
struct Entry {
    explicit Entry(const char* line) : rest(line) {
        begin = number();
        ++rest;
        end = number();
        skipField();
        ++rest;
        offset = number();
        skipField();
        skipField();
        rest += std::strspn(rest, " ");
    }

    std::uintptr_t number() {
        std::uintptr_t value = 0;
        for (;; ++rest) {
            const char c = *rest;
            if (c >= '0' && c <= '9') {
                value = value * 16 + static_cast<std::uintptr_t>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                value = value * 16 + static_cast<std::uintptr_t>(c - 'a' + 10);
            } else {
                return value;
            }
        }
    }

    void skipField() {
        rest += std::strspn(rest, " ");
        rest += std::strcspn(rest, " ");
    }

    const char* rest; // in the end the path
    std::uintptr_t begin;
    std::uintptr_t end;
    std::uintptr_t offset;
};

bool readMapping(std::uintptr_t address, Mapping& mapping) {
    mapping = {};
    LineReader maps("/proc/self/maps");
    char line[sizeof mapping.path + 80] = "";
    while (maps.next(line, sizeof line)) {
        const Entry entry(line);
        const bool isSameFile = std::strcmp(entry.rest, mapping.path) == 0;
        if (!isSameFile || entry.offset == 0) {
            const std::size_t length = std::min(std::strlen(entry.rest), sizeof mapping.path - 1);
            std::memcpy(mapping.path, entry.rest, length);
            mapping.path[length] = 0;
            mapping.base = entry.offset == 0 ? entry.begin : 0;
        }
        if (address - entry.begin < entry.end - entry.begin) {
            mapping.begin = entry.begin;
            mapping.end = entry.end;
            return true;
        }
    }
    return false;
}

// Enough for the modules on any stack. Pages that are not used cost nothing.
constexpr std::size_t kMostKnown = 256;
constinit Mapping known[kMostKnown] = {};
constinit std::size_t knownCount = 0;

} // namespace

const Mapping* findMapping(std::uintptr_t address) {
    for (std::size_t i = 0; i < knownCount; ++i) {
        if (address - known[i].begin < known[i].end - known[i].begin) {
            return &known[i];
        }
    }
    knownCount = knownCount < kMostKnown ? knownCount : 0;
    if (!readMapping(address, known[knownCount])) {
        return nullptr;
    }
    return &known[knownCount++];
}

void forgetMappings() {
    knownCount = 0;
}

} // namespace platform
