// The headers before and after windows.h, whose macros take common names. Compiled, never run.
#include "Shm/RingBuffer.h"
#if __has_include(<windows.h>)
#    include <windows.h>
#endif
#include "Shm/MappedFile.h"
#include "Shm/RingBuffer.h"

[[maybe_unused]] static int addTo(CRingMessageBuffer& ring, SECURITY_ATTRIBUTES* security) {
    return ring.Open("name", 0, security) + ring.AddMessage("text", 4);
}
