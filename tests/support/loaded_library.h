// A library that is loaded and unloaded while the program runs, as a host of plug-ins does it.
#pragma once

#ifdef _WIN32
#    include <windows.h>

using Library = HMODULE;

inline Library load(const char* path) {
    return LoadLibraryA(path);
}

inline void* find(Library library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(library, name));
}

inline bool unload(Library library) {
    return FreeLibrary(library) != 0;
}
#else
#    include <dlfcn.h>

using Library = void*;

inline Library load(const char* path) {
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

inline void* find(Library library, const char* name) {
    return dlsym(library, name);
}

inline bool unload(Library library) {
    return dlclose(library) == 0;
}
#endif
