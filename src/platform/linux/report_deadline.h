// The end of a report's time.
#pragma once

#include <csignal>

namespace platform {

// Sends the calling thread a signal when the time is over: the report may be waiting for a lock,
// the loader's for example, whose holder waits for this very thread. Safe in a signal handler.
class ReportDeadline {
public:
    void start();
    void stop();

    // Whether a signal is a deadline's.
    static bool isSentBy(const siginfo_t& info);

private:
    bool isRunning_ = false;
    int timer_ = 0;
};

} // namespace platform
