// Threads and what they wait for, as the system offers them.
#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

using ThreadEntry = void (*)(void* argument);

struct Thread {
    std::uintptr_t native = 0;
};

// Starts a thread with the system's default stack. On failure returns false with errno set.
bool startThread(Thread& thread, ThreadEntry entry, void* argument);

// Waits until the thread has ended and gives back what the system keeps of it.
void joinThread(Thread thread);

// Instead of joinThread: the system gives it back when the thread ends.
void detachThread(Thread thread);

// joinThread for a thread that is at its end but may be held up by the loader's lock, which the
// caller holds: waits for a tenth of a second at most.
void joinEndingThread(Thread thread);

// Tells the running threads apart; never 0.
std::uintptr_t currentThread();

// The calling thread's name, for those who look at the process. A system that keeps none takes and
// gives the empty one.
struct ThreadName {
    char text[32] = "";
};
void nameThread(const char* name); // at most 15 bytes
ThreadName threadName();

// Takes from the calling thread what libraries have attached to it, as if it were a new one. For a
// thread that ends the process: a library may not expect one of its own threads to do that.
void forgetThreadValues();

void yieldThread();

void sleepFor(std::chrono::microseconds time);

// Keeps signals from being handled on the calling thread, those of its own faults excepted.
void blockSignals();

// Keeps others from cancelling the calling thread, which otherwise ends where it waits, opens or
// writes. Returns its state before, for resumeCancellation.
int forbidCancellation();
void resumeCancellation(int before);

int processId();

// True when the process is ending and the system has killed all threads but the calling one,
// wherever they were.
bool otherThreadsAreGone();

// A counting semaphore. Made and destroyed explicitly, so that it can stand in static storage that
// outlives every caller: a signal after destroy() is harmless.
class Semaphore {
public:
    static constexpr std::int32_t kMaximum = 0x7FFFFFFF;

    bool create(std::int32_t initialCount);
    void destroy();

    // False when the count is at its maximum.
    bool signal();

    // Waits without limit; 0 when a count was taken, else what the system reported.
    int wait();

    bool tryWait();

    // False when the time ran out.
    bool waitFor(std::chrono::microseconds limit);

private:
    alignas(8) unsigned char storage_[32];
};

// A mutex that its owner may lock again; made and destroyed explicitly, for the same reason.
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
