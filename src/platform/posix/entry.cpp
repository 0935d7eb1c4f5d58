// The functions below have no priority. With one, the destructor function would run after the exit
// handlers of the library's own local statics.
#include "platform/entry.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>

// The destructor function is called for dlclose and at the end of the process, and is not told
// which. An exit handler tells: at the end of the process it runs before the destructor function,
// in dlclose after it. There is one exception: in a library that was loaded with the program, the
// handler runs too late at the end as well. But such a library is never unloaded.
//
// If another library loads this one from a static initialiser, before main, the end of the process
// counts as an unload.
namespace {

constinit std::atomic<bool> processIsEnding{false};

// False while the library is being loaded at run time, even as a global one: its names are found
// here only afterwards. Any exported name would do.
bool isPartOfProgram() {
    void* const program = dlopen(nullptr, RTLD_LAZY);
    const bool isFound = program == nullptr || dlsym(program, "qz_log") != nullptr;
    if (program != nullptr) {
        dlclose(program);
    }
    return isFound;
}

// Attaches first, because dlopen may run the initialisers of libraries that use this one.
__attribute__((constructor)) void attachLibrary() {
    platform::onAttach();
    if (isPartOfProgram()) {
        processIsEnding = true;
    } else {
        std::atexit([] { processIsEnding = true; });
    }
}

__attribute__((destructor)) void detachLibrary() {
    platform::onDetach(processIsEnding ? platform::Detach::exit : platform::Detach::unload);
}

} // namespace
