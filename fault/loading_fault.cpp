// Loading and unloading: the loader may refuse, but nothing ends the process; objects that could
// not be made are null, and the next load works.
#include "driver.h"

#include <dlfcn.h>

namespace {

template<class T>
T* find(void* library, const char* name) {
    return static_cast<T*>(dlsym(library, name));
}

// After a failure loading must work again. But a loader that had no memory for its own work may
// never unload the library again.
void loadAgain() {
    const Aside aside;
    void* const library = dlopen(QZ_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (holds(library != nullptr, "loading again")) {
        dlclose(library);
    }
    if (dlopen(QZ_LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr) {
        giveUp();
    }
}

} // namespace

void prepare() {}

void work() {
    void* const library = dlopen(QZ_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!step(library != nullptr, "dlopen")) {
        loadAgain();
        return;
    }
    for (const char* const global :
         {"globalConfig", "globalMail", "_ZN6Common20globalFactoryManagerE", "registry"}) {
        void** const object = find<void*>(library, global);
        if (holds(object != nullptr, global)) {
            step(*object != nullptr, global);
        }
    }
    using Log = void(const char*, unsigned int, const char*);
    reinterpret_cast<Log*>(dlsym(library, "qz_log"))("FAULT", 0x40, "loaded");
    using Open = void*(const char*);
    using Close = void(void*);
    void* const state = reinterpret_cast<Open*>(dlsym(library, "QZ_lua_open"))("fault");
    step(state != nullptr, "QZ_lua_open");
    reinterpret_cast<Close*>(dlsym(library, "QZ_lua_close"))(state);
    if (!step(dlclose(library) == 0, "dlclose")) {
        giveUp(); // the loader has no memory for its own work, and keeps half of the library
    }
    holds(dlopen(QZ_LIBRARY, RTLD_NOW | RTLD_NOLOAD) == nullptr, "the library stayed");
}

void finish() {}
