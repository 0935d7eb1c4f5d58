// Includes the headers before and after windows.h, whose macros take common names; without
// windows.h, after its worst two macros. Standard headers do not compile after those two, so they
// are included first. Compiled, never run.
#include "Common/Allocator.h"
#include "Globals.h"
#include "IO/Adapters.h"
#include "Serial/CommonSerializer.h"
#include "Shm/RingBuffer.h"
#include "Util/ConsoleArgs.h"

#include <algorithm>
#if __has_include(<windows.h>)
#    include <windows.h>
#endif
#undef min
#undef max
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))

#include "Core/CrashReport.h"
#include "Core/Log.h"
#include "IO/Adapters.h"
#include "IO/FileStream.h"
#include "IO/MemoryStream.h"
#include "Math/Half.h"
#include "Math/Matrix.h"
#include "Math/Predictor.h"
#include "Math/RateMeter.h"
#include "Math/Rotation3.h"
#include "Math/Vector.h"
#include "Math/nMatrix.h"
#include "Random/RandomManager.h"
#include "Random/Randomizer.h"
#include "Serial/Bufferizer.h"
#include "Serial/CommonBufferizer.h"
#include "Serial/Containers.h"
#include "Serial/MathTypes.h"
#include "Serial/Record.h"
#include "Shm/MappedFile.h"
#include "Shm/RingBuffer.h"
#include "Util/FPS_Controller.h"
#include "Util/Strings.h"
#include "Util/System.h"
#include "Util/TempFilesManager.h"
#include "VFS/File.h"
#include "VFS/Paths.h"

#include <type_traits>

static_assert(ALERT == 0x02);
#ifdef _WIN32
static_assert(ERROR == 0 && QZ_LOG_ERROR == 0x08, "the short name is left to the macro");
static_assert(std::is_same_v<bt_filter, LPTOP_LEVEL_EXCEPTION_FILTER>);
#endif

[[maybe_unused]] static int addTo(CRingMessageBuffer& ring, SECURITY_ATTRIBUTES* security) {
    return ring.Open("name", 0, security) + ring.AddMessage("text", 4);
}
