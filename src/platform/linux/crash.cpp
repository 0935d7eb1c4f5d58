#include "platform/crash.h"

#include "platform/fault_stack.h"
#include "platform/linux/fault_of.h"
#include "platform/linux/mappings.h"
#include "platform/linux/report_deadline.h"
#include "platform/linux/spare_descriptors.h"
#include "platform/posix/report_stack.h"
#include "platform/report_turn.h"
#include "platform/thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <ctime>

namespace platform {

namespace {

struct Hook {
    int signal;
    struct sigaction previous;
};

constinit Hook hooks[] = {{SIGSEGV, {}}, {SIGBUS, {}},  {SIGFPE, {}}, {SIGILL, {}},
                          {SIGTRAP, {}}, {SIGABRT, {}}, {SIGSYS, {}}};
constinit std::atomic<FaultFunction> faultFunction{nullptr};
constinit ReportTurn turn;
constinit SpareDescriptors spare;
sigjmp_buf wayOut; // out of a report that meets a fault itself or takes too long
constinit volatile std::sig_atomic_t isWayOutOpen = 0;
constinit bool areForksApart = false;

struct Received {
    int signal;
    siginfo_t* info;
    void* registers;
    int cancellation; // the thread's state before
};

bool wasSent(const siginfo_t& info) {
    return info.si_code <= 0;
}

// abort() is a SIGABRT that this process sends to a thread.
bool isAbort(const siginfo_t& info) {
    return info.si_signo == SIGABRT && info.si_code == SI_TKILL && info.si_pid == getpid();
}

// A report ends at a fault of its own, at abort() and at its deadline, but not at signals that
// others send.
bool endsReport(const siginfo_t& info) {
    return !wasSent(info) || isAbort(info) || ReportDeadline::isSentBy(info);
}

// Unblocks the signals of the report's own faults and of its deadline: a thread that calls abort()
// may have blocked all signals.
void callUnblocked(FaultFunction function, const Fault& fault) {
    sigset_t faults;
    sigset_t before;
    sigemptyset(&faults);
    for (const Hook& hook : hooks) {
        sigaddset(&faults, hook.signal);
    }
    const bool isChanged = pthread_sigmask(SIG_UNBLOCK, &faults, &before) == 0;
    function(fault);
    if (isChanged) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
}

void report(void* given) {
    const auto& received = *static_cast<const Received*>(given);
    const FaultFunction function = faultFunction.load();
    ReportDeadline deadline;
    deadline.start();
    spare.release();
    forgetMappings();
    if (sigsetjmp(wayOut, 1) == 0 && function != nullptr) {
        isWayOutOpen = 1;
        callUnblocked(function, faultOf(*received.info, received.registers));
    }
    isWayOutOpen = 0;
    spare.hold();
    deadline.stop();
}

Hook& hookOf(int signal) {
    Hook* hook = hooks;
    while (hook->signal != signal) {
        ++hook;
    }
    return *hook;
}

// A fault can be neither ignored nor cancelled.
bool isIgnored(int signal, const siginfo_t& info) {
    return wasSent(info) && hookOf(signal).previous.sa_handler == SIG_IGN;
}

bool isFunction(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 ||
           (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
}

// Blocks the signals that the system blocks when it calls the handler itself.
void blockAsFor(const struct sigaction& action, const Received& received) {
    const sigset_t& before = static_cast<const ucontext_t*>(received.registers)->uc_sigmask;
    sigset_t blocked;
    sigemptyset(&blocked);
    for (int signal = 1; signal < NSIG; ++signal) {
        const bool isOwn = signal == received.signal && (action.sa_flags & SA_NODEFER) == 0;
        if (isOwn || sigismember(&before, signal) == 1 ||
            sigismember(&action.sa_mask, signal) == 1) {
            sigaddset(&blocked, signal);
        }
    }
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
}

void call(const struct sigaction& action, const Received& received) {
    blockAsFor(action, received);
    if ((action.sa_flags & SA_SIGINFO) != 0) {
        action.sa_sigaction(received.signal, received.info, received.registers);
    } else {
        action.sa_handler(received.signal);
    }
}

struct sigaction defaultAction() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    return action;
}

// Sends the signal once more, with all that is known about it. It arrives as soon as the handler
// has returned, so a core dump shows the fault and not the handler.
void repeatWithDefaultAction(const Received& received) {
    const struct sigaction action = defaultAction();
    sigaction(received.signal, &action, nullptr);
    sigset_t repeated;
    sigemptyset(&repeated);
    sigaddset(&repeated, received.signal);
    pthread_sigmask(SIG_BLOCK, &repeated, nullptr);
    syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), received.signal, received.info);
}

void passOn(const Received& received) {
    Hook& hook = hookOf(received.signal);
    const struct sigaction previous = hook.previous;
    if (!isFunction(previous) && !isIgnored(received.signal, *received.info)) {
        repeatWithDefaultAction(received);
        return;
    }
    resumeCancellation(received.cancellation);
    if (isFunction(previous)) {
        constexpr auto kForOneCall = static_cast<int>(SA_RESETHAND);
        if ((previous.sa_flags & kForOneCall) != 0) {
            hook.previous = defaultAction();
        }
        call(previous, received);
    }
}

// Uses little stack until the report's own is taken: the stack here may be the smallest alternate
// one that is allowed.
void onSignal(int signal, siginfo_t* info, void* registers) {
    const int error = errno;
    const bool isInReport = turn.isMine();
    if (isInReport && isWayOutOpen != 0 && endsReport(*info)) {
        siglongjmp(wayOut, 1);
    }
    if (ReportDeadline::isSentBy(*info) || (isInReport && wasSent(*info))) {
        return; // the report has just ended, or the signal is not meant for it
    }
    if (isIgnored(signal, *info) && !isAbort(*info)) { // abort() ends the process nevertheless
        return;
    }
    Received received{signal, info, registers, forbidCancellation()};
    if (!isInReport && turn.take()) {
        ReportStack::run(report, &received);
        turn.giveBack();
    }
    errno = error;
    passOn(received);
}

// A handler that was installed later and chained to onSignal may have put onSignal back. It must
// not become its own successor.
void remember(Hook& hook) {
    struct sigaction current {};
    if (sigaction(hook.signal, nullptr, &current) == 0 && current.sa_sigaction != onSignal) {
        hook.previous = current;
    }
}

void waitForReport() {
    const NoCancellation guard;
    turn.waitUntilFree();
}

// The child's only thread may have forked within its own report: then it keeps the turn.
void takeTurnFromTheLost() {
    if (!turn.isMine()) {
        turn.giveBack();
    }
}

// A child that is forked during a report has the locks of the reporting thread, the loader's for
// example, but not that thread. So a fork waits for the report's end. If a report begins at the
// last moment, nobody has the turn in the child.
void keepForksApart() {
    if (!areForksApart) {
        areForksApart = pthread_atfork(waitForReport, nullptr, takeTurnFromTheLost) == 0;
    }
}

} // namespace

AnyFunction installFaultFunction(FaultFunction function) {
    keepForksApart();
    keepStackForFaults();
    ReportStack::prepare();
    spare.hold();
    faultFunction.store(function);
    struct sigaction action {};
    action.sa_sigaction = onSignal;
    // A fault in the report must come through: it ends the report. Whatever else is sent waits.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigfillset(&action.sa_mask);
    for (const Hook& hook : hooks) {
        sigdelset(&action.sa_mask, hook.signal);
    }
    for (Hook& hook : hooks) {
        remember(hook); // before onSignal can need it
        sigaction(hook.signal, &action, nullptr);
    }
    const struct sigaction& segv = hooks[0].previous;
    return isFunction(segv) ? reinterpret_cast<AnyFunction>(segv.sa_handler) : nullptr;
}

void removeFaultFunction() {
    faultFunction.store(nullptr); // somebody may have chained to the handler, and go on calling it
    for (const Hook& hook : hooks) {
        sigaction(hook.signal, &hook.previous, nullptr);
    }
    spare.release();
}

bool faultText(std::uint32_t, char*, std::size_t) {
    return false;
}

std::int64_t systemTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

} // namespace platform
