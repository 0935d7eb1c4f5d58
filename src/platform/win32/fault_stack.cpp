#include "platform/fault_stack.h"

#include <windows.h>

namespace platform {

// With this, an overflow is reported while the filter still has room to run.
bool keepStackForFaults() {
    ULONG size = 32768;
    return SetThreadStackGuarantee(&size) != FALSE;
}

} // namespace platform
