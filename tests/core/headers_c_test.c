/* Every flat header, as C11 sees it; once more after the macros that windows.h and builds define.
 */
#define ERROR 0
#define DEBUG 1
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))

#include "Core/Atomics.h"
#include "Core/Clock.h"
#include "Core/CrashReport.h"
#include "Core/Environment.h"
#include "Core/Hash.h"
#include "Core/Log.h"
#include "Core/Threads.h"
#include "Core/Utf8.h"
#include "Core/Version.h"
#include "Core/Watch.h"
#include "Globals.h"
#include "Lua/State.h"
#include "Tasks/TaskManager.h"
#include "Util/Publish.h"
#include "VFS/Archive.h"
#include "VFS/Binary.h"
#include "VFS/File.h"
#include "VFS/Locations.h"
#include "VFS/Paths.h"

_Static_assert(QZ_LOG_ERROR == 0x08 && WARNING == 0x10 && ALL == 0xFF, "levels");
_Static_assert(sizeof(QZ_atomic_gather) == 2 * sizeof(void*), "two words");

void use_headers(void);
void use_headers(void) {
    qz_log("C", QZ_LOG_INFO, SYS_cmdline());
}
