// A rest of the stack for the handling of its overflow.
#pragma once

#include <windows.h>

namespace platform {

// From now on the calling thread's overflow is reported while there is room for the filter to run,
// not at the last byte.
inline void keepStackForFaults() {
    ULONG size = 32768;
    SetThreadStackGuarantee(&size);
}

} // namespace platform
