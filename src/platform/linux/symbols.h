// What the fault handling needs of platform/symbols.h beyond its face.
#pragma once

namespace platform {

// Forgets what is known of the process's modules: since the last time others may have been loaded.
void startSymbols();

} // namespace platform
