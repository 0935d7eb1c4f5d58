/* A host that uses only the flat functions, and no C library: built by Microsoft's tools, it runs
 * on a machine without them. Ends with 0, or with the number of the check that failed. */
#include "Core/Hash.h"
#include "Core/Log.h"
#include "Core/Version.h"
#include "Globals.h"

__declspec(dllimport) void __stdcall ExitProcess(unsigned code);

static int check(void) {
    if (QZ_version() == 0 || QZ_version_string()[0] == 0) {
        return 1;
    }
    if (QZ_hash_string("flat", 1) == QZ_hash_string("flat", 2)) {
        return 2;
    }
    if (globalConfig == 0) { /* imported data */
        return 3;
    }
    if (qz_log_start(".", "flat_host") != 0) {
        return 4;
    }
    qz_log("HOST", QZ_LOG_INFO, "hello from Microsoft's linker");
    qz_log_stop();
    return 0;
}

void start(void) {
    ExitProcess((unsigned)check());
}
