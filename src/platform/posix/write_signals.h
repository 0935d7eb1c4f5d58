// Writing without the signals that a refused write sends.
#pragma once

#include <pthread.h>

#include <csignal>
#include <ctime>

namespace platform {

// Keeps a pipe without a reader (SIGPIPE) and a limit on file sizes (SIGXFSZ) from ending the
// process: a line that cannot be written is no reason to die. Leaves signals alone that were
// pending before. Keeps others from cancelling the thread, which cannot end in the destructor; not
// by NoCancellation, because the tool uses this header without the sources of threads.
class NoWriteSignals {
public:
    NoWriteSignals() {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancellation_);
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
        pthread_setcancelstate(cancellation_, nullptr);
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

    sigset_t ours_; // the destructor consumes these
    sigset_t before_;
    int cancellation_ = PTHREAD_CANCEL_ENABLE;
};

} // namespace platform
