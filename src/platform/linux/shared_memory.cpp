// Memory and mutexes as objects of POSIX shared memory.
#include "platform/shared_memory.h"

#include "platform/linux/dead_objects.h"
#include "platform/linux/shared_object.h"
#include "platform/pause.h"

#include <pthread.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <memory>
#include <new>
#include <string>

namespace platform {

namespace {

// The limit of file names holds for the whole name, prefix included.
bool isObjectName(const std::string& name) {
    return name.size() <= NAME_MAX && name.find('/') == std::string::npos;
}

// Robust: if the owner dies, the next to lock the mutex is told so and goes on.
bool initialiseMutex(void* bytes) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    const int error = pthread_mutex_init(static_cast<pthread_mutex_t*>(bytes), &attributes);
    pthread_mutexattr_destroy(&attributes);
    return error == 0;
}

// Uses the clock that can be set, because the thread sanitizer does not know the call that takes
// the steady one.
timespec after(std::chrono::milliseconds limit) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t nanoseconds = now.tv_nsec + limit.count() % 1000 * 1'000'000;
    return {now.tv_sec + limit.count() / 1000 + nanoseconds / 1'000'000'000,
            nanoseconds % 1'000'000'000};
}

} // namespace

struct SharedMemory {
    SharedObject object;
};

struct SharedMutex {
    SharedObject object;

    pthread_mutex_t* native() const {
        return std::launder(reinterpret_cast<pthread_mutex_t*>(object.bytes()));
    }
};

SharedMemory* openSharedMemory(const char* name, std::uint32_t size, void*) {
    auto shared = std::make_unique<SharedMemory>();
    if (!isObjectName(std::string(kMemoryPrefix) + name) ||
        !shared->object.open(pathOf(kMemoryPrefix, name), size, [](void*) { return true; })) {
        return nullptr;
    }
    removeSomeDeadObjects();
    return shared.release();
}

void closeSharedMemory(SharedMemory* shared) {
    delete shared;
}

char* bytesOf(const SharedMemory& shared) {
    return shared.object.bytes();
}

std::uint64_t sizeOf(const SharedMemory& shared) {
    return shared.object.size();
}

bool sharedMemoryExists(const char* name) {
    return hasLife(pathOf(kMemoryPrefix, name));
}

void listSharedMemory(void (*callback)(void* context, const char* name), void* context) {
    removeDeadObjects();
    for (const std::string& name : listObjects()) {
        if (name.starts_with(kMemoryPrefix) && hasLife(pathOf(name))) {
            callback(context, name.c_str() + kMemoryPrefix.size());
        }
    }
}

SharedMutex* openSharedMutex(const char* name, void*) {
    auto mutex = std::make_unique<SharedMutex>();
    if (!isObjectName(std::string(kMutexPrefix) + name) ||
        !mutex->object.open(pathOf(kMutexPrefix, name), sizeof(pthread_mutex_t), initialiseMutex) ||
        mutex->object.size() < sizeof(pthread_mutex_t)) {
        return nullptr;
    }
    return mutex.release();
}

void closeSharedMutex(SharedMutex* mutex) {
    delete mutex;
}

bool lockShared(SharedMutex& mutex, std::chrono::milliseconds limit) {
    int error = 0;
    const auto isDecided = [&] {
        error = pthread_mutex_trylock(mutex.native());
        return error != EBUSY;
    };
    if (!succeedsSoon(isDecided)) {
        const timespec deadline = after(limit);
        error = pthread_mutex_timedlock(mutex.native(), &deadline);
    }
    if (error == EOWNERDEAD) {
        error = pthread_mutex_consistent(mutex.native());
    }
    return error == 0;
}

void unlockShared(SharedMutex& mutex) {
    pthread_mutex_unlock(mutex.native());
}

} // namespace platform
