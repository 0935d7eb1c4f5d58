#include "platform/library.h"

#include <windows.h>

void platform::keepLibraryLoaded() {
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&keepLibraryLoaded), &self);
}

void platform::onExit(void (*)()) {}
