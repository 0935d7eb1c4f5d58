#include "platform/crash.h"
#include "platform/linux/registers.h"
#include "platform/linux/symbols.h"

#define UNW_LOCAL_ONLY
#include <libunwind.h>

#include <ucontext.h>

#include <cstdint>
#include <cstring>

namespace platform {

namespace {

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
    if (!isReadableMemory(stackPointer)) {
        return false;
    }
    greg_t caller = 0;
    std::memcpy(&caller, reinterpret_cast<const void*>(stackPointer), sizeof caller);
    registers.uc_mcontext.gregs[REG_RIP] = caller;
    registers.uc_mcontext.gregs[REG_RSP] += static_cast<greg_t>(sizeof caller);
    return true;
}

} // namespace

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
        // A frame that a signal interrupted stands at its next instruction, not after a call.
        isReturnAddress = unw_is_signal_frame(&cursor) <= 0;
        if (unw_step(&cursor) <= 0) {
            return;
        }
    }
}

} // namespace platform
