// Writing without the signals that a refused write sends.
#pragma once

#include "platform/thread.h"

#include <csignal>
#include <ctime>

namespace platform {

// Keeps a pipe without a reader (SIGPIPE) and a limit on file sizes (SIGXFSZ) from ending the
// process: a line that cannot be written is no reason to die. Leaves signals alone that were
// pending before. Keeps others from cancelling the thread, which cannot end in the destructor.
class NoWriteSignals {
public:
    NoWriteSignals() {
        sigemptyset(&ours_);
        sigaddset(&ours_, SIGPIPE);
        sigaddset(&ours_, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &ours_, &before_);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&before_, signal) == 1 && isPending(signal)) {
                sigdelset(&ours_, signal);
            }
        }
    }
    ~NoWriteSignals() {
        const timespec now{};
        while (sigtimedwait(&ours_, nullptr, &now) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    NoWriteSignals(const NoWriteSignals&) = delete;
    NoWriteSignals& operator=(const NoWriteSignals&) = delete;

private:
    // Only a signal that was blocked before can be pending.
    static bool isPending(int signal) {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, signal) == 1;
    }

    const NoCancellation noCancellation_;
    sigset_t ours_; // the destructor consumes these
    sigset_t before_;
};

} // namespace platform
