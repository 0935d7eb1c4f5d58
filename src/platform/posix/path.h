// Paths as this system writes them.
#pragma once

#include <cstddef>
#include <string>

namespace platform {

// The library writes paths with backslashes; only this header's functions turn them into slashes.
std::string nativePath(const char* path);

// Writes the native path into a buffer; false if it does not fit.
bool writeNativePath(const char* path, char* buffer, std::size_t size);

// Room for any path that the kernel accepts.
inline constexpr std::size_t kPathRoom = 4096;

// A native path in a buffer of its own, for calls that must not allocate. Files of the host have
// paths of at most 255 UTF-16 units, as on Windows. A path that does not fit becomes the empty one,
// which every system call refuses.
class SystemPath {
public:
    enum class Limit { asOnTheOtherSystem, theKernels };

    explicit SystemPath(const char* path, Limit limit = Limit::asOnTheOtherSystem);

    bool fits() const { return fits_; }
    const char* text() const { return text_; }

private:
    static constexpr std::size_t kMaxUnits = 255;

    bool fits_;
    char text_[kPathRoom];
};

// Makes a native path absolute and removes "." and ".." segments, without a look at the files.
// False if the path is empty or does not fit.
bool resolvePath(const char* path, char* buffer, std::size_t size);

// Creates the last directory of a resolved path, and its missing parents first, all with the same
// mode. False if it exists already or cannot be created. Changes the path's text and restores it.
bool createDirectories(char* path, unsigned int mode);

} // namespace platform
