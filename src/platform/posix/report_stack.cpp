#include "platform/posix/report_stack.h"

#include "platform/guarded_memory.h"

#include <csignal>
#include <cstddef>

namespace platform {

namespace {

// Measured: 21 KiB, most of them for reading debugging information.
constexpr std::size_t kSize = std::size_t{256} * 1024;
constexpr std::size_t kSizeForFaults = std::size_t{64} * 1024;

struct Memory {
    alignas(16) char stack[kSize];
    char stackForFaults[kSizeForFaults];
};
constinit Memory withoutGuard{};
constinit Memory* memory = &withoutGuard;

// rbx, which functions preserve, keeps the old stack pointer.
void callOnStack(void* top, void (*function)(void*), void* argument) {
    asm volatile("movq %%rsp, %%rbx\n\t"
                 "movq %[top], %%rsp\n\t"
                 "callq *%[function]\n\t"
                 "movq %%rbx, %%rsp"
                 : "+D"(argument), [top] "+a"(top), [function] "+d"(function)
                 :
                 : "rbx", "rcx", "rsi", "r8", "r9", "r10", "r11", "xmm0", "xmm1", "xmm2", "xmm3",
                   "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10", "xmm11", "xmm12",
                   "xmm13", "xmm14", "xmm15", "memory", "cc");
}

struct Call {
    void (*function)(void*);
    void* argument;
};

// The system lets a thread change its alternate stack only while the stack pointer is outside the
// old one, as it is here.
void callWithStackForFaults(void* given) {
    const auto& call = *static_cast<const Call*>(given);
    stack_t forFaults{};
    forFaults.ss_sp = memory->stackForFaults;
    forFaults.ss_size = kSizeForFaults;
    stack_t before;
    const bool isSet = sigaltstack(&forFaults, &before) == 0;
    call.function(call.argument);
    if (isSet) {
        sigaltstack(&before, nullptr);
    }
}

} // namespace

void ReportStack::prepare() {
    if (memory != &withoutGuard) {
        return;
    }
    if (void* const guarded = allocateGuarded(sizeof(Memory))) {
        memory = static_cast<Memory*>(guarded);
    }
}

void ReportStack::run(void (*function)(void*), void* argument) {
    Call call{function, argument};
    callOnStack(memory->stack + kSize, callWithStackForFaults, &call);
}

} // namespace platform
