#include "platform/posix/path.h"

#include "platform/posix/utf8.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace platform {

namespace {

// Builds an absolute path segment by segment. Meanwhile the root is the empty text, so that each
// segment begins with its own slash.
class PathBuilder {
public:
    PathBuilder(char* buffer, std::size_t size) : buffer_(buffer), size_(size) {}

    bool startAtCurrentDirectory() {
        if (getcwd(buffer_, size_) == nullptr || buffer_[0] != '/') {
            return false;
        }
        length_ = std::strlen(buffer_);
        if (length_ == 1) {
            length_ = 0;
        }
        return true;
    }

    bool append(std::string_view segment) {
        if (segment.empty() || segment == ".") {
            return true;
        }
        if (segment == "..") {
            while (length_ > 0 && buffer_[--length_] != '/') {
            }
            return true;
        }
        if (length_ + 1 + segment.size() >= size_) {
            return false;
        }
        buffer_[length_++] = '/';
        length_ += segment.copy(buffer_ + length_, segment.size());
        return true;
    }

    void finish() {
        if (length_ == 0) {
            buffer_[length_++] = '/';
        }
        buffer_[length_] = 0;
    }

private:
    char* buffer_;
    std::size_t size_;
    std::size_t length_ = 0;
};

} // namespace

std::string nativePath(const char* path) {
    std::string native(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

bool writeNativePath(const char* path, char* buffer, std::size_t size) {
    const std::size_t length = std::strlen(path);
    if (length >= size) {
        return false;
    }
    std::replace_copy(path, path + length + 1, buffer, '\\', '/');
    return true;
}

SystemPath::SystemPath(const char* path, Limit limit) {
    const std::size_t bytes = std::strlen(path);
    // No text has more UTF-16 units than bytes. Invalid UTF-8 goes to Windows's ANSI calls, where
    // each byte is one unit.
    fits_ = bytes < sizeof text_ && (limit == Limit::theKernels || bytes <= kMaxUnits ||
                                     utf16Length({path, bytes}).value_or(bytes) <= kMaxUnits);
    const std::size_t length = fits_ ? bytes : 0;
    std::replace_copy(path, path + length, text_, '\\', '/');
    text_[length] = 0;
}

bool resolvePath(const char* path, char* buffer, std::size_t size) {
    if (path[0] == 0 || size < sizeof "/") {
        return false;
    }
    PathBuilder builder(buffer, size);
    if (path[0] != '/' && !builder.startAtCurrentDirectory()) {
        return false;
    }
    for (const char* segment = path; *segment != 0;) {
        const std::size_t length = std::strcspn(segment, "/");
        if (!builder.append({segment, length})) {
            return false;
        }
        segment += length;
        segment += std::strspn(segment, "/");
    }
    builder.finish();
    return true;
}

bool createDirectories(char* path, unsigned int mode) {
    // A failure is ignored: if a parent is still missing, the last call fails.
    char* slash = path;
    while ((slash = std::strchr(slash + 1, '/')) != nullptr) {
        *slash = 0;
        mkdir(path, mode);
        *slash = '/';
    }
    return mkdir(path, mode) == 0;
}

} // namespace platform
