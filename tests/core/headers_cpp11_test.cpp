// Every flat header, as C++11 sees it. Compiled, never run.
#include "flat_headers.h"

static_assert(QZ_LOG_ERROR == 0x08 && WARNING == 0x10 && ALL == 0xFF, "levels");
