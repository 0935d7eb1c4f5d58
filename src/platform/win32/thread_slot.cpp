#include "platform/thread_slot.h"

#include <windows.h>

namespace platform {

// Fiber-local storage, because thread-local storage has no call at a thread's end.
bool ThreadSlot::open(AtEnd atEnd) {
    key_ = FlsAlloc(atEnd);
    return key_ != FLS_OUT_OF_INDEXES;
}

void ThreadSlot::close() {
    FlsFree(key_);
}

void* ThreadSlot::get() const {
    return FlsGetValue(key_);
}

bool ThreadSlot::set(void* value) {
    return FlsSetValue(key_, value) != 0;
}

} // namespace platform
