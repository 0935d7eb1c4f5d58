#include "platform/entry.h"

#include "platform/thread.h"

#include <windows.h>

namespace {

// Keeps GCC's thread library loaded, if this library uses it. Each unload of it leaks a thread key
// and four handles, and after a thousand times there is no key left.
void keepThreadLibrary() {
    HMODULE library = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, L"libwinpthread-1.dll", &library);
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        keepThreadLibrary();
        platform::otherThreadsAreGone(); // finds the system's function while nobody can be killed
        platform::onAttach();
    } else if (reason == DLL_PROCESS_DETACH) {
        const bool processIsEnding = reserved != nullptr;
        platform::onDetach(processIsEnding ? platform::Detach::threadsAreGone
                                           : platform::Detach::unload);
    }
    return TRUE;
}
