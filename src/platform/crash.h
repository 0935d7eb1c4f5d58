// Faults that end the process, and the functions that help to report them. A fault function may
// call walkStack, faultText, systemTime and what platform/symbols.h allows it: they take no memory
// from the heap themselves and wait for nobody.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Windows's numbers. On Linux the signals are mapped to them.
namespace fault_code {
inline constexpr std::uint32_t kGuardPage = 0x80000001;
inline constexpr std::uint32_t kDatatypeMisalignment = 0x80000002;
inline constexpr std::uint32_t kBreakpoint = 0x80000003;
inline constexpr std::uint32_t kSingleStep = 0x80000004;
inline constexpr std::uint32_t kAccessViolation = 0xC0000005;
inline constexpr std::uint32_t kInPageError = 0xC0000006;
inline constexpr std::uint32_t kInvalidHandle = 0xC0000008;
inline constexpr std::uint32_t kIllegalInstruction = 0xC000001D;
inline constexpr std::uint32_t kInvalidSystemCall = 0xC000001C;
inline constexpr std::uint32_t kNoncontinuable = 0xC0000025;
inline constexpr std::uint32_t kInvalidDisposition = 0xC0000026;
inline constexpr std::uint32_t kArrayBoundsExceeded = 0xC000008C;
inline constexpr std::uint32_t kFltDenormalOperand = 0xC000008D;
inline constexpr std::uint32_t kFltDivideByZero = 0xC000008E;
inline constexpr std::uint32_t kFltInexactResult = 0xC000008F;
inline constexpr std::uint32_t kFltInvalidOperation = 0xC0000090;
inline constexpr std::uint32_t kFltOverflow = 0xC0000091;
inline constexpr std::uint32_t kFltStackCheck = 0xC0000092;
inline constexpr std::uint32_t kFltUnderflow = 0xC0000093;
inline constexpr std::uint32_t kIntDivideByZero = 0xC0000094;
inline constexpr std::uint32_t kIntOverflow = 0xC0000095;
inline constexpr std::uint32_t kPrivInstruction = 0xC0000096;
inline constexpr std::uint32_t kStackOverflow = 0xC00000FD;
inline constexpr std::uint32_t kAbort = 0x40000015; // STATUS_FATAL_APP_EXIT
} // namespace fault_code

struct Fault {
    std::uint32_t code = 0;
    std::uintptr_t address = 0;   // of the instruction
    void* registers = nullptr;    // the system's record of the thread's registers
    bool isJumpToNowhere = false; // the instruction could not be fetched
};

using FaultFunction = void (*)(const Fault& fault);
using AnyFunction = void (*)();

// Has the function called for each fault from now on, by the thread that faulted or, if that thread
// has no stack left, by another on its behalf. The handler that was installed before gets the fault
// next. Returns that handler, null if there was none.
AnyFunction installFaultFunction(FaultFunction function);
void removeFaultFunction();

struct StackFrame {
    std::uintptr_t address = 0; // of an instruction
    std::uintptr_t frame = 0;
    bool isReturnAddress = false; // the address is that of the instruction after a call
};

// False ends the walk.
using FrameFunction = bool (*)(void* context, const StackFrame& frame);

// Calls back with each frame, the faulting one first. findSource works only meanwhile. Calls
// nothing if the system's unwinder cannot be used. One walk at a time.
void walkStack(const Fault& fault, FrameFunction function, void* context);

// The system's text for a code, in one line; false if it has none, and always on Linux.
bool faultText(std::uint32_t code, char* buffer, std::size_t size);

// Seconds since the start of 1970, UTC.
std::int64_t systemTime();

} // namespace platform
