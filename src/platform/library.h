// The library as the loader sees it.
#pragma once

namespace platform {

// From now on the library stays loaded until the process ends, whatever the host unloads. For
// threads of the library's own that nobody can wait for.
void keepLibraryLoaded();

} // namespace platform
