// A stack for signal handlers, which cannot run on a stack that has overflowed.
#pragma once

#include <csignal>
#include <cstddef>

namespace platform {

// The report runs on another stack (report_stack.h). This one has room for the registers that the
// largest processors save, and for other handlers that run after the report.
inline constexpr std::size_t kAlternateStackSize = 65536;

// Makes the memory the calling thread's alternate stack. False, without a change, if the thread has
// one already: the sanitizers give it one, and the host may.
inline bool useAlternateStack(void* memory, stack_t& before) {
    if (sigaltstack(nullptr, &before) != 0 || (before.ss_flags & SS_DISABLE) == 0) {
        return false;
    }
    stack_t stack{};
    stack.ss_sp = memory;
    stack.ss_size = kAlternateStackSize;
    return sigaltstack(&stack, nullptr) == 0;
}

// For a thread's first function. The memory is part of the thread's own stack, at the end that an
// overflow does not reach.
class AlternateStack {
public:
    // The memory stays uninitialised: pages that are never used cost nothing.
    AlternateStack() : isMine_(useAlternateStack(memory_, before_)) {} // NOLINT: see above
    ~AlternateStack() {
        if (isMine_) {
            sigaltstack(&before_, nullptr);
        }
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

private:
    alignas(16) char memory_[kAlternateStackSize];
    stack_t before_;
    bool isMine_;
};

} // namespace platform
