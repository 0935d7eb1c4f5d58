// Includes the headers behind windows.h, whose macros take common names; without windows.h, behind
// its worst two macros. Compiled, never run.
#include "standard_headers.h" // these do not compile behind them

#if __has_include(<windows.h>)
#    include <windows.h>
#endif
#undef min
#undef max
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))

#include "all_headers.h"

static_assert(ALERT == 0x02);
#ifdef _WIN32
static_assert(ERROR == 0 && QZ_LOG_ERROR == 0x08, "the short name is left to the macro");
static_assert(std::is_same_v<bt_filter, LPTOP_LEVEL_EXCEPTION_FILTER>);
#endif

[[maybe_unused]] static int addTo(CRingMessageBuffer& ring, SECURITY_ATTRIBUTES* security) {
    return ring.Open("name", 0, security) + ring.AddMessage("text", 4);
}
