// The library as the loader sees it.
#pragma once

namespace platform {

// Keeps the library loaded until the process ends, even if the host unloads it. Needed where the
// system or a thread may call the library at any time.
void keepLibraryLoaded();

// Has the function called when the process begins to end, before the libraries that are loaded by
// now are taken down. Windows never calls it, because it kills all other threads first.
void onExit(void (*function)());

} // namespace platform
