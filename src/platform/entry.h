// The library's start and end. The platform makes these calls; src/library.cpp implements them.
#pragma once

namespace platform {

// The library has been loaded; every static initialiser has run.
void onAttach();

// Why the library is about to go.
enum class Detach {
    unload,        // the process goes on without it; no thread is in a call
    exit,          // the process is ending; other threads may be in the middle of any call
    threadsAreGone // the process is ending, and all other threads were killed, possibly with a lock
                   // or within an allocation: nothing may be locked, allocated or waited for
};

void onDetach(Detach reason);

} // namespace platform
