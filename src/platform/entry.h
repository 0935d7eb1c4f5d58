// The loader's calls, without the loader: the platform makes them, src/library.cpp answers.
#pragma once

namespace platform {

// The library has been loaded; every static initialiser has run.
void onAttach();

// Why the library is about to go.
enum class Detach {
    unload,        // the process goes on without it; nobody is in a call
    exit,          // the process is ending; other threads may be in the middle of any call
    threadsAreGone // the process is ending, and all other threads were killed, possibly with a lock
                   // or within an allocation: nothing may be locked, allocated or waited for
};

void onDetach(Detach reason);

} // namespace platform
