// A lock on the directory, which stays when its files are replaced. The kernel takes it away from
// the dead.
#include "platform/save_turn.h"

#include "platform/posix/target_file.h"

#include <sys/file.h>
#include <time.h>

namespace platform {

namespace {

constexpr std::chrono::milliseconds kStep{2};

bool tryToLock(int file) {
    return uninterrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

void pause() {
    const timespec step{0, std::chrono::nanoseconds(kStep).count()};
    nanosleep(&step, nullptr);
}

} // namespace

SaveTurn::SaveTurn(const char* path) noexcept {
    TargetFile target;
    if (target.locate(path) != 0) {
        return; // what follows will fail
    }
    Descriptor directory = target.takeDirectory();
    for (std::chrono::milliseconds left = kLongestWait; left.count() > 0; left -= kStep) {
        if (tryToLock(directory.number())) {
            lock_ = directory.release();
            return;
        }
        if (errno != EWOULDBLOCK) {
            return;
        }
        pause();
    }
    isMine_ = false;
}

SaveTurn::~SaveTurn() {
    if (lock_ != kNone) {
        const Descriptor directory(static_cast<int>(lock_));
        flock(directory.number(), LOCK_UN); // a process that was forked meanwhile has it open, too
    }
}

} // namespace platform
