// Helpers for file descriptors.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

namespace platform {

// Makes a system call again as long as signals interrupt it.
template<class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Moves a descriptor away from those of the standard streams, which the process may have closed:
// what others write there must not land in the file. Returns the new one, -1 if there is none; a
// negative number stays as it is.
inline int aboveStandardStreams(int file) {
    if (file > STDERR_FILENO || file < 0) {
        return file;
    }
    const int moved = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(file);
    errno = error;
    return moved;
}

// Owns a descriptor; a negative number means none.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (isOpen()) {
            close(number_);
        }
    }

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_;
};

// 0 for an ordinary file, else the error that opening it reports.
inline int requireOrdinary(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISREG(status.st_mode) ? 0 : ENXIO;
}

inline int requireOrdinaryFile(int file) {
    struct stat status {};
    return fstat(file, &status) != 0 ? errno : requireOrdinary(status);
}

// Writes all bytes, in several calls if needed. Returns fewer if the system refuses the rest, with
// errno set.
inline std::size_t writeMost(int file, std::string_view bytes) {
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        const ssize_t written = uninterrupted([&] {
            return write(file, bytes.data() + taken,
                         std::min<std::size_t>(bytes.size() - taken, INT_MAX));
        });
        if (written <= 0) {
            break;
        }
        taken += static_cast<std::size_t>(written);
    }
    return taken;
}

inline bool writeAll(int file, std::string_view bytes) {
    return writeMost(file, bytes) == bytes.size();
}

// Reserves the first `size` bytes of a file, so that writing them cannot fail for want of room.
// Returns 0 or the error. In pieces: on a file system in memory a call that a signal interrupts has
// done nothing, so under frequent signals a long call would never end.
inline int reserveRoom(int file, off_t size) {
    constexpr off_t kPiece = 256 << 10;
    int error = 0;
    for (off_t done = 0; done < size && error == 0; done += kPiece) {
        do {
            error = posix_fallocate(file, done, std::min(kPiece, size - done));
        } while (error == EINTR);
    }
    return error;
}

// Whether an error of reserveRoom says that the file system, or a container's filter of system
// calls, lets nobody reserve room; the room itself may be there.
inline bool reservesNone(int error) {
    return error == EOPNOTSUPP || error == EINVAL || error == EPERM || error == ENOSYS ||
           error == EACCES;
}

} // namespace platform
