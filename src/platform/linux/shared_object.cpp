#include "platform/linux/shared_object.h"

#include "platform/posix/descriptor.h"
#include "platform/posix/write_signals.h"
#include "platform/wait_until.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr mode_t kSameUser = 0600;
constexpr std::chrono::seconds kPatience(1);

constexpr off_t kGate = 0;
constexpr off_t kLife = 1;

struct flock lockOf(off_t which, int type) {
    struct flock lock {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = which;
    lock.l_len = 1;
    return lock;
}

bool setLock(int file, off_t which, int type) {
    struct flock lock = lockOf(which, type);
    return fcntl(file, F_OFD_SETLK, &lock) == 0;
}

// The others at the gate need microseconds, unless they were stopped.
bool passGate(int file) {
    constexpr std::chrono::microseconds kStep{200};
    bool isPassed = false;
    waitUntil(kPatience, kStep, [&] {
        isPassed = setLock(file, kGate, F_WRLCK);
        return isPassed || (errno != EAGAIN && errno != EACCES);
    });
    return isPassed;
}

bool isRemoved(int file) {
    struct stat status {};
    return fstat(file, &status) != 0 || status.st_nlink == 0;
}

std::uint64_t sizeOfFile(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

// False for another user's object: its owner could put bad pointers into a mutex that we lock.
bool isOurs(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_uid == geteuid();
}

Descriptor openObject(const std::string& path, int flags = 0) {
    return Descriptor(aboveStandardStreams(uninterrupted(
        [&] { return shm_open(path.c_str(), O_RDWR | O_CLOEXEC | flags, kSameUser); })));
}

bool writeZeros(int file, std::uint64_t count) {
    constexpr char kZeros[4096] = {};
    for (std::uint64_t done = 0; done < count; done += sizeof kZeros) {
        if (!writeAll(file, {kZeros, std::min<std::uint64_t>(count - done, sizeof kZeros)})) {
            return false;
        }
    }
    return true;
}

// Removes the object if nobody else has it open. The caller holds the gate.
void removeIfAlone(int file, const char* path) {
    if (!isRemoved(file) && setLock(file, kLife, F_WRLCK)) {
        shm_unlink(path);
    }
}

} // namespace

SharedObject::~SharedObject() {
    if (bytes_ != nullptr) {
        munmap(bytes_, size_);
    }
    if (id_.isOf(file_)) {
        if (opener_ == getpid() && passGate(file_)) {
            removeIfAlone(file_, path_.c_str());
        }
        close(file_);
    }
}

bool SharedObject::open(std::string path, std::uint64_t size, Initialise initialise) {
    path_ = std::move(path);
    if (!openPassingGate()) {
        return false;
    }
    id_ = FileId(file_);
    const bool isNew = setLock(file_, kLife, F_WRLCK);
    const bool isOpen = (!isNew || makeZeros(size)) && map() && (!isNew || initialise(bytes_)) &&
                        setLock(file_, kLife, F_RDLCK);
    setLock(file_, kGate, F_UNLCK);
    return isOpen;
}

// While a process waits at the gate, the object may be removed by the one before it.
bool SharedObject::openPassingGate() {
    const Clock::time_point deadline = Clock::now() + kPatience;
    do {
        file_ = openObject(path_, O_CREAT).release();
        if (file_ < 0) {
            return false;
        }
        const bool isRefused = !isOurs(file_);
        if (!isRefused && passGate(file_) && !isRemoved(file_)) {
            return true;
        }
        close(file_);
        file_ = -1;
        if (isRefused) {
            return false;
        }
    } while (Clock::now() < deadline);
    return false;
}

// Gets the pages now: if one were missing later, the process would die.
bool SharedObject::makeZeros(std::uint64_t size) const {
    const NoWriteSignals guard; // the limit on the size of files holds for memory, too
    if (uninterrupted([&] { return ftruncate(file_, 0); }) != 0) {
        return false;
    }
    const int error = reserveRoom(file_, static_cast<off_t>(size));
    return error == 0 || (reservesNone(error) && writeZeros(file_, size));
}

bool SharedObject::map() {
    size_ = sizeOfFile(file_);
    void* const mapped = size_ == 0
                             ? MAP_FAILED
                             : mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file_, 0);
    bytes_ = mapped == MAP_FAILED ? nullptr : static_cast<char*>(mapped);
    return bytes_ != nullptr;
}

// Takes no lock, not even for a moment: an opener would believe that a dead object lives.
bool hasLife(const std::string& path) {
    const Descriptor file = openObject(path);
    struct flock lock = lockOf(kLife, F_WRLCK);
    return isOurs(file.number()) && fcntl(file.number(), F_OFD_GETLK, &lock) == 0 &&
           lock.l_type != F_UNLCK;
}

void removeIfDead(const std::string& path) {
    const Descriptor file = openObject(path);
    if (isOurs(file.number()) && setLock(file.number(), kGate, F_WRLCK)) {
        removeIfAlone(file.number(), path.c_str());
    }
}

} // namespace platform
