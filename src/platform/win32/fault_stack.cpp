#include "platform/fault_stack.h"

#include <windows.h>

namespace platform {

// The overflow is then reported while there is room for the filter to run, not at the last byte.
bool keepStackForFaults() {
    ULONG size = 32768;
    return SetThreadStackGuarantee(&size) != FALSE;
}

} // namespace platform
