#include "platform/linux/fault_of.h"

#include "platform/linux/registers.h"

#include <csignal>
#include <cstdint>

namespace platform {

namespace {

// A push or a call writes just below the stack pointer. A function with a large frame first moves
// the stack pointer beyond the stack and then touches memory above it.
bool isStackOverflow(std::uintptr_t address, std::uintptr_t stackPointer) {
    constexpr std::uintptr_t kBelow = 65536;
    constexpr std::uintptr_t kLargestFrame = 1 << 20;
    return stackPointer - address <= kBelow ||
           (address - stackPointer < kLargestFrame && !isReadableMemory(stackPointer));
}

// hlt, cli and sti, and input and output on ports. The processor reports them like any other
// violation.
bool isPrivileged(std::uintptr_t instruction) {
    if (!isReadableMemory(instruction)) {
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

// SI_KERNEL, which has no address, means that the stack pointer is no possible address.
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

} // namespace

Fault faultOf(const siginfo_t& info, void* registers) {
    const std::uintptr_t instruction = registerOf(registers, REG_RIP);
    const bool isFetch = info.si_signo == SIGSEGV && info.si_code > 0 &&
                         info.si_code != SI_KERNEL &&
                         reinterpret_cast<std::uintptr_t>(info.si_addr) == instruction;
    return {codeOf(info, registers), instruction, registers, isFetch};
}

} // namespace platform
