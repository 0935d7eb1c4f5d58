// Writing to pipes whose readers may go away.
#pragma once

#include <csignal>
#include <ctime>

namespace platform {

// Keeps a reader that has gone from ending the process: a line that cannot be written is no reason
// to die. A signal that was pending before is left pending.
class NoBrokenPipe {
public:
    NoBrokenPipe() {
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    ~NoBrokenPipe() {
        const timespec now{};
        if (!wasPending_) {
            sigtimedwait(&signal_, nullptr, &now);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    NoBrokenPipe(const NoBrokenPipe&) = delete;
    NoBrokenPipe& operator=(const NoBrokenPipe&) = delete;

private:
    bool wasPending_;
    sigset_t signal_;
    sigset_t before_;
};

} // namespace platform
