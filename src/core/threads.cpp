#include "core/thread_unload.h"

#include "platform/cut_text.h"
#include "platform/fault_stack.h"
#include "platform/thread.h"

#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>

struct QZ_thread {
    platform::Thread native;
    QZ_thread_function function;
    void* argument;
    uint32_t flags;
};

struct QZ_semaphore {
    platform::Semaphore native;
};

struct QZ_mutex {
    platform::RecursiveMutex native;
};

namespace {

void runThread(void* given) {
    const auto* thread = static_cast<const QZ_thread*>(given);
    thread->function(thread->argument);
}

} // namespace

QZ_thread* QZ_thread_create(QZ_thread_function function, void* argument, uint32_t flags) {
    std::unique_ptr<QZ_thread> thread(new (std::nothrow) QZ_thread{{}, function, argument, flags});
    if (!thread) {
        errno = ENOMEM;
        return nullptr;
    }
    return platform::startThread(thread->native, runThread, thread.get()) ? thread.release()
                                                                          : nullptr;
}

void QZ_thread_wait(QZ_thread* thread) {
    platform::joinThread(thread->native);
    delete thread;
}

int QZ_thread_adopt() {
    return platform::keepStackForFaults() ? 1 : 0;
}

void QZ_thread_set_name(const char* name) {
    char text[16]; // more than 15 bytes the system refuses
    platform::copyCut(text, name != nullptr ? name : "");
    platform::nameThread(text);
}

void core::waitAtUnload(QZ_thread* thread) {
    platform::joinEndingThread(thread->native);
    delete thread;
}

QZ_semaphore* QZ_semaphore_create(int32_t initial_count) {
    std::unique_ptr<QZ_semaphore> semaphore(new (std::nothrow) QZ_semaphore);
    return semaphore && semaphore->native.create(initial_count) ? semaphore.release() : nullptr;
}

void QZ_semaphore_destroy(QZ_semaphore* semaphore) {
    semaphore->native.destroy();
    delete semaphore;
}

int QZ_semaphore_signal(QZ_semaphore* semaphore) {
    return semaphore->native.signal() ? 1 : 0;
}

int QZ_semaphore_wait(QZ_semaphore* semaphore) {
    return semaphore->native.wait();
}

int QZ_semaphore_trywait(QZ_semaphore* semaphore) {
    return semaphore->native.tryWait() ? 1 : 0;
}

QZ_mutex* QZ_mutex_create(void) {
    auto* mutex = new (std::nothrow) QZ_mutex;
    if (mutex != nullptr) {
        mutex->native.create();
    }
    return mutex;
}

void QZ_mutex_destroy(QZ_mutex* mutex) {
    mutex->native.destroy();
    delete mutex;
}

void QZ_mutex_lock(QZ_mutex* mutex) {
    mutex->native.lock();
}

int QZ_mutex_trylock(QZ_mutex* mutex) {
    return mutex->native.tryLock() ? 1 : 0;
}

void QZ_mutex_unlock(QZ_mutex* mutex) {
    mutex->native.unlock();
}
