#include <windows.h>

#include "Core/CrashReport.h"
#include "Core/Log.h"
#include "VFS/File.h"
#include "VFS/Paths.h"

#include <type_traits>

static_assert(ERROR == 0 && QZ_LOG_ERROR == 0x08, "the short name is left to the macro");
static_assert(ALERT == 0x02);
static_assert(std::is_same_v<bt_filter, LPTOP_LEVEL_EXCEPTION_FILTER>);
