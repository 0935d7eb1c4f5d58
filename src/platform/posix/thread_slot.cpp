#include "platform/thread_slot.h"

#include <pthread.h>

namespace platform {

namespace {

// Keys are small numbers, whose type differs between systems.
pthread_key_t nativeOf(std::uint32_t key) {
    return static_cast<pthread_key_t>(key);
}

} // namespace

bool ThreadSlot::open(AtEnd atEnd) {
    pthread_key_t key{};
    const bool isMade = pthread_key_create(&key, atEnd) == 0;
    key_ = static_cast<std::uint32_t>(key);
    return isMade;
}

void ThreadSlot::close() {
    pthread_key_delete(nativeOf(key_));
}

void* ThreadSlot::get() const {
    return pthread_getspecific(nativeOf(key_));
}

bool ThreadSlot::set(void* value) {
    return pthread_setspecific(nativeOf(key_), value) == 0;
}

} // namespace platform
