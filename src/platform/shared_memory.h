// Memory and locks that processes share by name, UTF-8. They last as long as somebody has them
// open; where the system itself would keep them longer, what killed processes have left stays until
// a process lists memory or opens its first; later openings clear up little by little.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace platform {

struct SharedMemory;
struct SharedMutex;

// Opens the memory of that name, all of it, or makes it with `size` zeros. `security` is the
// system's own description of who may, or null. Null if the system refuses, or another process
// stands still in the middle of opening for a second.
SharedMemory* openSharedMemory(const char* name, std::uint32_t size, void* security);
void closeSharedMemory(SharedMemory* shared);

struct SharedMemoryCloser {
    void operator()(SharedMemory* shared) const { closeSharedMemory(shared); }
};
using OpenSharedMemory = std::unique_ptr<SharedMemory, SharedMemoryCloser>;

char* bytesOf(const SharedMemory& shared);
std::uint64_t sizeOf(const SharedMemory& shared);

// Whether a process has it open.
bool sharedMemoryExists(const char* name);

// Calls back with the name of each one that the user may see and that a process has open.
void listSharedMemory(void (*callback)(void* context, const char* name), void* context);

// Frees what only the dead have open.
void removeDeadSharedMemory();

SharedMutex* openSharedMutex(const char* name, void* security);
void closeSharedMutex(SharedMutex* mutex);

// False when the time ran out. A mutex whose owner died is free.
bool lockShared(SharedMutex& mutex, std::chrono::milliseconds limit);
void unlockShared(SharedMutex& mutex);

} // namespace platform
