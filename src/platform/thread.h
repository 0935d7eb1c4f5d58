// Threads, semaphores and mutexes of the system.
#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

using ThreadEntry = void (*)(void* argument);

struct Thread {
    std::uintptr_t native = 0;
};

// Starts a thread with the system's default stack size. On failure returns false and sets errno.
bool startThread(Thread& thread, ThreadEntry entry, void* argument);

// Waits until the thread has ended, and frees it.
void joinThread(Thread thread);

// Instead of joinThread: the system frees the thread when it ends.
void detachThread(Thread thread);

// joinThread for a thread that is ending. On Windows its end may need the loader's lock, which the
// caller holds; there this waits for a tenth of a second at most.
void joinEndingThread(Thread thread);

// A number that no other running thread has; never 0. Every lock asks for it, so a call would take
// a good part of the lock's time.
#if defined(_WIN32)
std::uintptr_t currentThread();
#else
inline std::uintptr_t currentThread() {
    return reinterpret_cast<std::uintptr_t>(__builtin_thread_pointer());
}
#endif

// The calling thread's name, as debuggers show it. On a system without such names it stays empty.
struct ThreadName {
    char text[32] = "";
};
void nameThread(const char* name); // at most 15 bytes
ThreadName threadName();

// Clears the values that libraries have attached to the calling thread, as if it were a new one.
// For a thread that ends the process: a library may not expect one of its own threads to do that.
// Does nothing on Windows.
void forgetThreadValues();

void yieldThread();

void sleepFor(std::chrono::microseconds time);

// Blocks all signals on the calling thread but those of its own faults.
void blockSignals();

// Keeps others from cancelling the calling thread, which could otherwise end in any call that
// waits, opens or writes. Returns the state before, for resumeCancellation.
int forbidCancellation();
void resumeCancellation(int before);

// Does both.
class NoCancellation {
public:
    NoCancellation() : before_(forbidCancellation()) {}
    ~NoCancellation() { resumeCancellation(before_); }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;

private:
    const int before_;
};

int processId();

// Has a function called in each child of fork() until the library is unloaded; false if there is no
// memory for that. On Windows there are no such children.
bool callInChildren(void (*function)());

// True when the process is ending and the system has killed all other threads, wherever they were.
bool otherThreadsAreGone();

// A counting semaphore. It has create() and destroy() so that it can stand in static storage that
// outlives every caller. A signal after destroy() is harmless.
class Semaphore {
public:
    static constexpr std::int32_t kMaximum = 0x7FFFFFFF;

    bool create(std::int32_t initialCount);
    void destroy();

    // False when the count is at its maximum.
    bool signal();

    // Waits without limit. 0 when a count was taken, else the system's error.
    int wait();

    bool tryWait();

    // False when the time ran out.
    bool waitFor(std::chrono::microseconds limit);

private:
    alignas(8) unsigned char storage_[32];
};

// A mutex that its owner may lock again. It has create() and destroy() for the same reason.
class RecursiveMutex {
public:
    void create();
    void destroy();

    void lock();
    bool tryLock();
    void unlock();

private:
    alignas(8) unsigned char storage_[40];
};

} // namespace platform
