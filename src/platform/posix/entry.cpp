// Without a priority: with one, the destructor function would run after the exit handlers of the
// library's own local statics.
#include "platform/entry.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>

// The destructor function is called both for dlclose and for the end of the process, and is not
// told which. An exit handler tells: at the end of the process it has run before the destructor
// function, in dlclose it runs after it. There is one exception. In a library that was loaded with
// the program the handler runs late at the end, too; but such a library is never unloaded.
//
// A library that another one loads from a static initialiser, before main, is taken for unloaded at
// the end.
namespace {

constinit std::atomic<bool> processIsEnding{false};

// While a library is being loaded at run time nobody finds its names here, not even if it is going
// to be global. The name is any that it exports.
bool isPartOfProgram() {
    void* const program = dlopen(nullptr, RTLD_LAZY);
    const bool isFound = program == nullptr || dlsym(program, "qz_log") != nullptr;
    if (program != nullptr) {
        dlclose(program);
    }
    return isFound;
}

// Attached first, because dlopen may go on with the initialisers of those who use the library.
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
