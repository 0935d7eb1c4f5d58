#include "platform/library.h"

#include <dlfcn.h>

#include <cstdlib>

// The handle is not needed again: the flag outlives it.
void platform::keepLibraryLoaded() {
    Dl_info self;
    if (dladdr(reinterpret_cast<const void*>(&keepLibraryLoaded), &self) != 0) {
        dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
    }
}

void platform::onExit(void (*function)()) {
    std::atexit(function);
}
