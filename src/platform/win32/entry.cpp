#include "platform/entry.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        platform::onAttach();
    } else if (reason == DLL_PROCESS_DETACH) {
        const bool processIsEnding = reserved != nullptr;
        platform::onDetach(processIsEnding ? platform::Detach::threadsAreGone
                                           : platform::Detach::unload);
    }
    return TRUE;
}
