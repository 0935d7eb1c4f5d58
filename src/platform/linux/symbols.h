// What the fault handling needs beyond platform/symbols.h.
#pragma once

namespace platform {

// Forgets the process's modules: others may have been loaded since the last time.
void startSymbols();

} // namespace platform
