/* Loads and unloads the library in a program that does not itself use GCC's runtime library:
 * reload_probe <library> */
#include <windows.h>

#include <stdint.h>
#include <stdlib.h>

static int loads(const char* library, int times) {
    for (int i = 0; i < times; ++i) {
        const HMODULE module = LoadLibraryA(library);
        if (module == NULL || !FreeLibrary(module)) {
            return 0;
        }
    }
    return 1;
}

static uintptr_t firstFreeHandle(void) {
    const HANDLE handle = CreateEventW(NULL, FALSE, FALSE, NULL);
    CloseHandle(handle);
    return (uintptr_t)handle / 4;
}

int main(int argc, char** argv) {
    if (argc != 2 || getenv("QZ_FAIL_ON_PURPOSE") != NULL || !loads(argv[1], 3)) {
        return 2;
    }
    const uintptr_t before = firstFreeHandle();
    return loads(argv[1], 20) && firstFreeHandle() < before + 20 ? 0 : 1;
}
