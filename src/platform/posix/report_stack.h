// The stack that crash reports are written on.
#pragma once

namespace platform {

// The library's own stack: the crashed thread's, or the alternate one that the host gave it, may be
// much smaller than a report needs. It is in static storage unless prepare() has found memory for
// it. For one thread at a time.
class ReportStack {
public:
    // Allocates the stack between inaccessible pages. Static storage must not have such pages:
    // garbage collectors and leak checkers read all of it.
    static void prepare();

    // Calls function(argument) on the stack, in a signal handler. A fault meanwhile is handled on
    // yet another stack, so its handler may jump back into the function even if this stack has
    // overflowed.
    static void run(void (*function)(void*), void* argument);
};

} // namespace platform
