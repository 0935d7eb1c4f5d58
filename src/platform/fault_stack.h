// Room to handle the overflow of a stack.
#pragma once

namespace platform {

// Prepares the calling thread, until it ends, to report an overflow of its stack. Threads from
// startThread are prepared already. Cheap from the second call on. False if the system has no
// memory for it.
bool keepStackForFaults();

} // namespace platform
