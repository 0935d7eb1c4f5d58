// What the fault handling needs of platform/symbols.h beyond its face.
#pragma once

#include <windows.h>

namespace platform {

// Opens the debugging help library for this process, anew; null if it cannot be.
HANDLE startSymbols();
void endSymbols();

} // namespace platform
