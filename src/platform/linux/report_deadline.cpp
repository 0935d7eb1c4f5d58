#include "platform/linux/report_deadline.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace platform {

namespace {

constexpr time_t kSeconds = 25; // others wait for their turn a little longer

// A signal that the fault handler receives and that nobody blocks.
constexpr int kSignal = SIGTRAP;

char mark;

} // namespace

// Uses system calls because the C library's functions may allocate.
void ReportDeadline::start() {
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = kSignal;
    event.sigev_value.sival_ptr = &mark;
    event._sigev_un._tid = gettid();
    itimerspec time{};
    time.it_value.tv_sec = kSeconds;
    isRunning_ = syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &timer_) == 0;
    if (isRunning_) {
        syscall(SYS_timer_settime, timer_, 0, &time, nullptr);
    }
}

void ReportDeadline::stop() {
    if (isRunning_) {
        syscall(SYS_timer_delete, timer_);
        isRunning_ = false;
    }
}

bool ReportDeadline::isSentBy(const siginfo_t& info) {
    return info.si_code == SI_TIMER && info.si_value.sival_ptr == &mark;
}

} // namespace platform
