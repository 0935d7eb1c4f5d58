#include "platform/thread_slot.h"

#include <pthread.h>

namespace platform {

static_assert(sizeof(pthread_key_t) == sizeof(std::uint32_t));

bool ThreadSlot::open(AtEnd atEnd) {
    return pthread_key_create(&key_, atEnd) == 0;
}

void ThreadSlot::close() {
    pthread_key_delete(key_);
}

void* ThreadSlot::get() const {
    return pthread_getspecific(key_);
}

bool ThreadSlot::set(void* value) {
    return pthread_setspecific(key_, value) == 0;
}

} // namespace platform
