// A memory barrier on all threads, at the cost of the calling one.
#pragma once

namespace platform {

// Makes the first fenceAllThreads() cheap. To be called while the process has few threads.
void prepareFence();

// A full barrier on every thread of the process. Say two threads each store a word and then load
// the other's, and one must see the other's store: both need a barrier between store and load. If
// one makes this call there, the other needs only std::atomic_signal_fence.
//
// Takes microseconds, so it suits the rarer side. False if the system has no such barrier.
bool fenceAllThreads();

} // namespace platform
