// The life of the registry.
#pragma once

namespace globals {

// Makes `registry`, once for each load; it stays null if there is no memory.
void makeRegistry();

// Drops the library's own references. Until getRegistry is called again there is no registry.
void releaseRegistry();

} // namespace globals
