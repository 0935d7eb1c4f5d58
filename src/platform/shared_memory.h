// Memory and mutexes that processes share by a UTF-8 name. They last as long as a process has them
// open. On Linux, what killed processes have left stays until a process lists memory or opens its
// first; each later opening clears up a few.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace platform {

struct SharedMemory;
struct SharedMutex;

// Opens the memory of that name in its full size, or makes it with `size` zeros. `security` is a
// Windows SECURITY_ATTRIBUTES or null; Linux ignores it. Null if the system refuses, or another
// process is stuck for a second in opening the same name.
SharedMemory* openSharedMemory(const char* name, std::uint32_t size, void* security);
void closeSharedMemory(SharedMemory* shared);

struct SharedMemoryCloser {
    void operator()(SharedMemory* shared) const { closeSharedMemory(shared); }
};
using OpenSharedMemory = std::unique_ptr<SharedMemory, SharedMemoryCloser>;

char* bytesOf(const SharedMemory& shared);
std::uint64_t sizeOf(const SharedMemory& shared);

// Whether a process has that memory open.
bool sharedMemoryExists(const char* name);

// Calls back with the name of each memory that a process has open and the user may see.
void listSharedMemory(void (*callback)(void* context, const char* name), void* context);

SharedMutex* openSharedMutex(const char* name, void* security);
void closeSharedMutex(SharedMutex* mutex);

// False when the time ran out. If a mutex's owner dies, the mutex is free.
bool lockShared(SharedMutex& mutex, std::chrono::milliseconds limit);
void unlockShared(SharedMutex& mutex);

} // namespace platform
