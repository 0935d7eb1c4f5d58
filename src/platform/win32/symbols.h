// What the fault handling needs beyond platform/symbols.h.
#pragma once

#include <windows.h>

namespace platform {

// Opens dbghelp for this process, anew; null on failure.
HANDLE startSymbols();
void endSymbols();

} // namespace platform
