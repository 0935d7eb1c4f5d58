// The end of the registry.
#pragma once

namespace common {

// Drops the library's own reference. Until getRegistry is called again there is none.
void releaseRegistry();

} // namespace common
