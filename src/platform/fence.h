// A memory barrier for all threads, which one of them pays for.
#pragma once

namespace platform {

// Makes the first fenceAllThreads() cheap. To be called while the process has few threads.
void prepareFence();

// Two threads each store a word and then load the other's. One of them must see the other's store,
// for which both would need a barrier in between. With this call in between on one side, the other
// needs none, as long as its compiler keeps the order (std::atomic_signal_fence).
//
// Takes microseconds, so it is for the side that is rare. False if the system does not have it.
bool fenceAllThreads();

} // namespace platform
