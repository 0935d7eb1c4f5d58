// A stack for signal handlers: one that overflowed cannot be used for them.
#pragma once

#include <csignal>
#include <cstddef>

namespace platform {

// The report has a stack of its own (report_stack.h). This one has room for the registers that the
// largest processors save, and for the handlers of others that run after the report.
inline constexpr std::size_t kAlternateStackSize = 65536;

// Makes memory the alternate stack of the calling thread unless it has one: the sanitizers give it
// one, and so may the host. False if it was left as it was.
inline bool useAlternateStack(void* memory, stack_t& before) {
    if (sigaltstack(nullptr, &before) != 0 || (before.ss_flags & SS_DISABLE) == 0) {
        return false;
    }
    stack_t stack{};
    stack.ss_sp = memory;
    stack.ss_size = kAlternateStackSize;
    return sigaltstack(&stack, nullptr) == 0;
}

// For a thread's first function: the far end of the very stack that may overflow at its other one.
class AlternateStack {
public:
    // The memory is touched when it is needed.
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
