#include "platform/thread.h"

#include "platform/posix/alternate_stack.h"

#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <memory>
#include <new>

namespace platform {

using namespace std::chrono_literals;

namespace {

struct Start {
    ThreadEntry entry;
    void* argument;
};

void* runThread(void* given) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(given));
    const AlternateStack stack;
    start.entry(start.argument);
    return nullptr;
}

// As pthread_create, with room for the alternate stack beside the system's default: that may be
// smaller than the alternate stack.
int createThread(pthread_t& thread, void* (*function)(void*), void* argument) {
    pthread_attr_t attributes;
    if (const int error = pthread_getattr_default_np(&attributes); error != 0) {
        return error;
    }
    std::size_t size = 0;
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_setstacksize(&attributes, size + sizeof(AlternateStack));
    const int error = pthread_create(&thread, &attributes, function, argument);
    pthread_attr_destroy(&attributes);
    return error;
}

// In terms of the monotonic clock, which nobody sets.
timespec after(std::chrono::nanoseconds time) {
    timespec moment{};
    clock_gettime(CLOCK_MONOTONIC, &moment);
    const auto nanoseconds = moment.tv_nsec + std::max(time, 0ns).count();
    moment.tv_sec += nanoseconds / 1'000'000'000;
    moment.tv_nsec = nanoseconds % 1'000'000'000;
    return moment;
}

// A number here, a pointer on other systems.
std::uintptr_t numberOf(pthread_t thread) {
    return std::bit_cast<std::uintptr_t>(thread);
}

pthread_t nativeOf(Thread thread) {
    return std::bit_cast<pthread_t>(thread.native);
}

template<class Native>
Native* as(unsigned char* storage) {
    return std::launder(reinterpret_cast<Native*>(storage));
}

} // namespace

bool startThread(Thread& thread, ThreadEntry entry, void* argument) {
    std::unique_ptr<Start> start(new (std::nothrow) Start{entry, argument});
    if (!start) {
        errno = ENOMEM;
        return false;
    }
    pthread_t native{};
    if (const int error = createThread(native, runThread, start.get()); error != 0) {
        errno = error;
        return false;
    }
    static_cast<void>(start.release());
    thread.native = numberOf(native);
    return true;
}

void joinThread(Thread thread) {
    pthread_join(nativeOf(thread), nullptr);
}

void detachThread(Thread thread) {
    pthread_detach(nativeOf(thread));
}

void joinEndingThread(Thread thread) {
    joinThread(thread); // no thread needs the loader in order to end
}

void nameThread(const char* name) {
    pthread_setname_np(pthread_self(), name);
}

ThreadName threadName() {
    ThreadName name;
    pthread_getname_np(pthread_self(), name.text, sizeof name.text);
    return name;
}

void forgetThreadValues() {
    for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) {
        if (pthread_getspecific(key) != nullptr) {
            pthread_setspecific(key, nullptr);
        }
    }
}

void yieldThread() {
    sched_yield();
}

// Waits until a moment, not for a time: a signal interrupts the call but not the wait.
void sleepFor(std::chrono::microseconds time) {
    const timespec end = after(time);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

void blockSignals() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
        sigdelset(&signals, fault);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

int forbidCancellation() {
    int before = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    return before;
}

void resumeCancellation(int before) {
    pthread_setcancelstate(before, nullptr);
}

int processId() {
    return getpid();
}

bool callInChildren(void (*function)()) {
    return pthread_atfork(nullptr, nullptr, function) == 0;
}

bool otherThreadsAreGone() {
    return false;
}

bool Semaphore::create(std::int32_t initialCount) {
    static_assert(sizeof(sem_t) <= sizeof(storage_) && alignof(sem_t) <= 8);
    return initialCount >= 0 &&
           sem_init(new (storage_) sem_t, 0, static_cast<unsigned>(initialCount)) == 0;
}

void Semaphore::destroy() {
    sem_destroy(as<sem_t>(storage_));
}

bool Semaphore::signal() {
    return sem_post(as<sem_t>(storage_)) == 0;
}

int Semaphore::wait() {
    while (sem_wait(as<sem_t>(storage_)) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

bool Semaphore::tryWait() {
    while (sem_trywait(as<sem_t>(storage_)) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool Semaphore::waitFor(std::chrono::microseconds limit) {
    const timespec end = after(limit);
    while (sem_clockwait(as<sem_t>(storage_), CLOCK_MONOTONIC, &end) != 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void RecursiveMutex::create() {
    static_assert(sizeof(pthread_mutex_t) <= sizeof(storage_) && alignof(pthread_mutex_t) <= 8);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (storage_) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void RecursiveMutex::destroy() {
    pthread_mutex_destroy(as<pthread_mutex_t>(storage_));
}

void RecursiveMutex::lock() {
    pthread_mutex_lock(as<pthread_mutex_t>(storage_));
}

bool RecursiveMutex::tryLock() {
    return pthread_mutex_trylock(as<pthread_mutex_t>(storage_)) == 0;
}

void RecursiveMutex::unlock() {
    pthread_mutex_unlock(as<pthread_mutex_t>(storage_));
}

} // namespace platform
