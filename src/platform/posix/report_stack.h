// The stack that crash reports are written on.
#pragma once

namespace platform {

// The library's own, because the crashed thread's stack, or the alternate one that its owner gave
// it, may be much smaller than a report needs. Static storage, of which untouched pages cost
// nothing: there is always one. For one thread at a time.
class ReportStack {
public:
    // Puts a guard page below it.
    static void prepare();

    // Calls function(argument) on the stack, in a signal handler. A fault meanwhile is handled
    // beside this stack and beside those of the thread, so that its handler may jump back into the
    // function even if this stack has overflowed.
    static void run(void (*function)(void*), void* argument);
};

} // namespace platform
