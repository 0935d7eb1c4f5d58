// The loader's calls, without the loader: the platform makes them, src/library.cpp answers.
#pragma once

namespace platform {

// The library has been loaded; every static initialiser has run.
void onAttach();

// The library is about to go. threadsAreGone: the process is ending and every other thread was
// killed, possibly in the middle of a lock or an allocation; nothing may be locked, allocated or
// waited for.
void onDetach(bool threadsAreGone);

} // namespace platform
