// The stack that crash reports are written on.
#pragma once

namespace platform {

// The library's own, because the crashed thread's stack, or the alternate one that its owner gave
// it, may be much smaller than a report needs. There is always one: static storage where prepare()
// was not called or found no memory. For one thread at a time.
class ReportStack {
public:
    // Maps one with room around it that faults. Static storage must not have such pages: garbage
    // collectors and searches for leaks read all of it.
    static void prepare();

    // Calls function(argument) on the stack, in a signal handler. A fault meanwhile is handled
    // beside this stack and beside those of the thread, so that its handler may jump back into the
    // function even if this stack has overflowed.
    static void run(void (*function)(void*), void* argument);
};

} // namespace platform
