// A place for the handling of faults beside a stack that has overflowed.
#pragma once

namespace platform {

// Gives the calling thread what it takes to report the overflow of its stack, until it ends.
// Threads that startThread started have that already. Cheap from the second call on. False if the
// system has no memory for it.
bool keepStackForFaults();

} // namespace platform
