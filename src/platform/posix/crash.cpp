#include "platform/crash.h"

#include "platform/posix/alternate_stack.h"
#include "platform/posix/symbols.h"
#include "platform/report_turn.h"

#define UNW_LOCAL_ONLY
#include <libunwind.h>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstring>
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
sigjmp_buf wayOut; // of a report that meets a fault itself

std::uintptr_t registerOf(const void* registers, int number) {
    const auto& context = *static_cast<const ucontext_t*>(registers);
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[number]);
}

// Asks the kernel, which checks the address before it finds that the request makes no sense.
bool isReadable(std::uintptr_t address) {
    constexpr int kNoSuchRequest = -1;
    constexpr std::size_t kMaskSize = 8;
    return syscall(SYS_rt_sigprocmask, kNoSuchRequest, address & ~(kMaskSize - 1), nullptr,
                   kMaskSize) == 0 ||
           errno != EFAULT;
}

// A push or a call goes just below the stack pointer. A large frame moves the stack pointer into
// the void first and is touched above it.
bool isStackOverflow(std::uintptr_t address, std::uintptr_t stackPointer) {
    constexpr std::uintptr_t kBelow = 65536;
    constexpr std::uintptr_t kLargestFrame = 1 << 20;
    return stackPointer - address <= kBelow ||
           (address - stackPointer < kLargestFrame && !isReadable(stackPointer));
}

// The processor reports these like any other violation: hlt, cli and sti, and the ports' ins and
// outs.
bool isPrivileged(std::uintptr_t instruction) {
    if (!isReadable(instruction)) {
        return false;
    }
    const unsigned code = *reinterpret_cast<const unsigned char*>(instruction);
    return code == 0xF4 || code == 0xFA || code == 0xFB || (code & 0xFCU) == 0x6C ||
           (code & 0xF4U) == 0xE4;
}

std::uint32_t codeOfSegv(const siginfo_t& info, void* registers) {
    const auto address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    const bool isAccess = info.si_code == SEGV_MAPERR || info.si_code == SEGV_ACCERR;
    if (isAccess && isStackOverflow(address, registerOf(registers, REG_RSP))) {
        return fault_code::kStackOverflow;
    }
    return info.si_code == SI_KERNEL && isPrivileged(registerOf(registers, REG_RIP))
               ? fault_code::kPrivInstruction
               : fault_code::kAccessViolation;
}

// Without an address: the stack pointer is none.
std::uint32_t codeOfBus(const siginfo_t& info) {
    if (info.si_code == SI_KERNEL) {
        return fault_code::kAccessViolation;
    }
    return info.si_code == BUS_ADRALN ? fault_code::kDatatypeMisalignment
                                      : fault_code::kInPageError;
}

std::uint32_t codeOfFpe(const siginfo_t& info) {
    switch (info.si_code) {
    case FPE_INTDIV:
        return fault_code::kIntDivideByZero;
    case FPE_INTOVF:
        return fault_code::kIntOverflow;
    case FPE_FLTDIV:
        return fault_code::kFltDivideByZero;
    case FPE_FLTOVF:
        return fault_code::kFltOverflow;
    case FPE_FLTUND:
        return fault_code::kFltUnderflow;
    case FPE_FLTRES:
        return fault_code::kFltInexactResult;
    case FPE_FLTSUB:
        return fault_code::kArrayBoundsExceeded;
    default:
        return fault_code::kFltInvalidOperation;
    }
}

std::uint32_t codeOf(const siginfo_t& info, void* registers) {
    switch (info.si_signo) {
    case SIGSEGV:
        return codeOfSegv(info, registers);
    case SIGBUS:
        return codeOfBus(info);
    case SIGFPE:
        return codeOfFpe(info);
    case SIGILL:
        return info.si_code == ILL_PRVOPC || info.si_code == ILL_PRVREG
                   ? fault_code::kPrivInstruction
                   : fault_code::kIllegalInstruction;
    case SIGTRAP:
        return info.si_code == TRAP_TRACE || info.si_code == TRAP_HWBKPT ? fault_code::kSingleStep
                                                                         : fault_code::kBreakpoint;
    case SIGSYS:
        return fault_code::kInvalidSystemCall;
    default:
        return fault_code::kAbort;
    }
}

Fault faultOf(const siginfo_t& info, void* registers) {
    const std::uintptr_t instruction = registerOf(registers, REG_RIP);
    const bool isFetch = info.si_signo == SIGSEGV && info.si_code > 0 &&
                         info.si_code != SI_KERNEL &&
                         reinterpret_cast<std::uintptr_t>(info.si_addr) == instruction;
    return {codeOf(info, registers), instruction, registers, isFetch};
}

void report(const siginfo_t& info, void* registers) {
    if (sigsetjmp(wayOut, 1) == 0) {
        faultFunction.load()(faultOf(info, registers));
    }
}

Hook& hookOf(int signal) {
    Hook* hook = hooks;
    while (hook->signal != signal) {
        ++hook;
    }
    return *hook;
}

bool isFunction(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 ||
           (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
}

void block(sigset_t signals, int signal) {
    sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void call(const struct sigaction& action, int signal, siginfo_t* info, void* registers) {
    if ((action.sa_flags & SA_NODEFER) == 0) {
        block(action.sa_mask, signal);
    }
    if ((action.sa_flags & SA_SIGINFO) != 0) {
        action.sa_sigaction(signal, info, registers);
    } else {
        action.sa_handler(signal);
    }
}

// The signal comes once more, with all that is known about it, as soon as the handler has returned:
// a core dump then shows the fault and not the handler.
void repeatWithDefaultAction(int signal, siginfo_t* info) {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(signal, &byDefault, nullptr);
    sigset_t none;
    sigemptyset(&none);
    block(none, signal);
    syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), signal, info);
}

void passOn(int signal, siginfo_t* info, void* registers) {
    const struct sigaction& previous = hookOf(signal).previous;
    const bool wasSent = info->si_code <= 0;
    if (isFunction(previous)) {
        call(previous, signal, info, registers);
    } else if (previous.sa_handler == SIG_DFL || !wasSent) {
        repeatWithDefaultAction(signal, info); // a fault cannot be ignored
    }
}

void onSignal(int signal, siginfo_t* info, void* registers) {
    const int error = errno;
    if (turn.isMine()) {
        siglongjmp(wayOut, 1);
    }
    if (turn.take()) {
        report(*info, registers);
        turn.giveBack();
    }
    errno = error;
    passOn(signal, info, registers);
}

// The rest of the process's life: nobody knows when the thread no longer needs it.
void giveAlternateStack() {
    void* memory = mmap(nullptr, kAlternateStackSize, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    stack_t before;
    if (memory != MAP_FAILED && !useAlternateStack(memory, before)) {
        munmap(memory, kAlternateStackSize);
    }
}

StackFrame frameAt(unw_cursor_t& cursor, bool isReturnAddress) {
    unw_word_t address = 0;
    unw_word_t stackPointer = 0;
    unw_get_reg(&cursor, UNW_REG_IP, &address);
    unw_get_reg(&cursor, UNW_REG_SP, &stackPointer);
    return {address, stackPointer, isReturnAddress};
}

// Nothing is known about the place that was jumped to, but a call has left its return address.
bool leaveNowhere(ucontext_t& registers) {
    const std::uintptr_t stackPointer = registerOf(&registers, REG_RSP);
    if (!isReadable(stackPointer)) {
        return false;
    }
    greg_t caller = 0;
    std::memcpy(&caller, reinterpret_cast<const void*>(stackPointer), sizeof caller);
    registers.uc_mcontext.gregs[REG_RIP] = caller;
    registers.uc_mcontext.gregs[REG_RSP] += static_cast<greg_t>(sizeof caller);
    return true;
}

} // namespace

AnyFunction installFaultFunction(FaultFunction function) {
    giveAlternateStack();
    faultFunction.store(function);
    struct sigaction action {};
    action.sa_sigaction = onSignal;
    // A fault in the report must come through: it ends the report.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (Hook& hook : hooks) {
        sigaction(hook.signal, nullptr, &hook.previous); // before anybody can need it
        sigaction(hook.signal, &action, nullptr);
    }
    const struct sigaction& segv = hooks[0].previous;
    return isFunction(segv) ? reinterpret_cast<AnyFunction>(segv.sa_handler) : nullptr;
}

void removeFaultFunction() {
    for (const Hook& hook : hooks) {
        sigaction(hook.signal, &hook.previous, nullptr);
    }
}

void walkStack(const Fault& fault, FrameFunction function, void* context) {
    startSymbols();
    ucontext_t registers = *static_cast<const ucontext_t*>(fault.registers);
    bool isReturnAddress = fault.isJumpToNowhere;
    if (isReturnAddress) {
        const StackFrame nowhere{fault.address, registerOf(&registers, REG_RSP), false};
        if (!function(context, nowhere) || !leaveNowhere(registers)) {
            return;
        }
    }
    unw_cursor_t cursor;
    if (unw_init_local2(&cursor, &registers, isReturnAddress ? 0 : UNW_INIT_SIGNAL_FRAME) != 0) {
        return;
    }
    while (true) {
        const StackFrame frame = frameAt(cursor, isReturnAddress);
        if (frame.address == 0 || frame.frame == 0 || !function(context, frame)) {
            return;
        }
        // What a signal handler interrupted stands at its next instruction, not behind a call.
        isReturnAddress = unw_is_signal_frame(&cursor) <= 0;
        if (unw_step(&cursor) <= 0) {
            return;
        }
    }
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
