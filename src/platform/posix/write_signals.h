// Writing to what may refuse it with a signal.
#pragma once

#include <csignal>
#include <ctime>

namespace platform {

// Keeps a pipe's reader that has gone, and a limit on the size of files, from ending the process: a
// line that cannot be written is no reason to die. Signals that were pending before are left
// pending.
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
    // Only a signal that was blocked already can be.
    static bool isPending(int signal) {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, signal) == 1;
    }

    sigset_t ours_; // those to be taken back
    sigset_t before_;
};

} // namespace platform
