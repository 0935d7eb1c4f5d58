// The turn is a lock on the file, or on its directory while the file does not exist. The kernel
// releases the lock of a process that dies.
#include "platform/save_turn.h"

#include "platform/posix/target_file.h"

#include <sys/file.h>
#include <time.h>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

// Opens what is locked for a path. On failure nothing is open, and the turn has no lock.
Descriptor openToLock(const char* path) {
    TargetFile target;
    if (target.locate(path) != 0) {
        return Descriptor();
    }
    return target.exists() ? target.open(O_RDONLY) : target.takeDirectory();
}

bool areSame(int left, int right) {
    struct stat first {};
    struct stat second {};
    return fstat(left, &first) == 0 && fstat(right, &second) == 0 &&
           first.st_ino == second.st_ino && first.st_dev == second.st_dev;
}

bool tryToLock(int file) {
    return uninterrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

void unlock(int file) {
    flock(file, LOCK_UN); // closing is not enough if a child forked meanwhile has it open
}

void pause() {
    constexpr timespec kStep{0, 2'000'000};
    nanosleep(&kStep, nullptr); // signals end it early
}

} // namespace

SaveTurn::SaveTurn(const char* path, std::chrono::milliseconds longestWait) noexcept {
    const Clock::time_point deadline = Clock::now() + longestWait;
    do {
        Descriptor file = openToLock(path);
        if (tryToLock(file.number())) {
            // Somebody may have replaced the file before it was locked.
            if (areSame(file.number(), openToLock(path).number())) {
                lock_ = file.release();
                return;
            }
            unlock(file.number());
        } else if (errno != EWOULDBLOCK) {
            return;
        }
        pause();
    } while (Clock::now() < deadline);
    isMine_ = false;
}

SaveTurn::~SaveTurn() {
    if (lock_ != kNone) {
        const Descriptor file(static_cast<int>(lock_));
        unlock(file.number());
    }
}

} // namespace platform
