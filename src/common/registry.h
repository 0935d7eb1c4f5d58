// The life of the registry.
#pragma once

namespace common {

// Makes `registry`, once for each load; it stays null if there is no memory.
void makeRegistry();

// Drops the library's own references. Until getRegistry is called again there is no registry.
void releaseRegistry();

} // namespace common
