// The library as the loader sees it.
#pragma once

namespace platform {

// From now on the library stays loaded until the process ends, whatever the host unloads. For
// threads of the library's own that nobody can wait for.
void keepLibraryLoaded();

// Has function called when the process begins to end, before the libraries that are loaded by now
// are taken down. Never called on systems that kill all other threads first.
void onExit(void (*function)());

} // namespace platform
