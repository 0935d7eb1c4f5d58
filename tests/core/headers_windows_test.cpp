#include <windows.h>

#include "Core/Log.h"
#include "VFS/File.h"
#include "VFS/Paths.h"

static_assert(ERROR == 0 && QZ_LOG_ERROR == 0x08, "the short name is left to the macro");
static_assert(ALERT == 0x02);
