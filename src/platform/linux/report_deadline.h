// A limit to the time of a report.
#pragma once

#include <csignal>

namespace platform {

// Sends the calling thread a signal when the time is over: the report may be waiting for a lock,
// the loader's for example, whose holder waits for this thread. Safe in a signal handler.
class ReportDeadline {
public:
    void start();
    void stop();

    // Whether a deadline has sent the signal.
    static bool isSentBy(const siginfo_t& info);

private:
    bool isRunning_ = false;
    int timer_ = 0;
};

} // namespace platform
