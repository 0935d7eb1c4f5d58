#include "platform/fence.h"

#include <windows.h>

namespace platform {

void prepareFence() {}

// Wine 8 does nothing here. There the caller is safe only if what it does next takes longer than a
// store takes to reach the other processors, some hundred nanoseconds.
bool fenceAllThreads() {
    FlushProcessWriteBuffers();
    return true;
}

} // namespace platform
