// Threads, semaphores, mutexes, Sync::Futex, Sync::Thread, PathfinderThread.
#include "driver.h"

#include "Core/Threads.h"
#include "Tasks/PathfinderThread.h"
#include "Tasks/Sync.h"

#include <atomic>
#include <new>

#include <unistd.h>

namespace {

std::atomic<int> ran{0};
int queries = 0;
std::atomic<int> answered{0};

void* run(void*) {
    ++ran;
    return nullptr;
}

struct ThreePasses : Sync::Thread::Task {
    int passes = 0;
    bool run(bool) override { return ++passes < 3; }
};

void startThreads() {
    ran = 0;
    if (QZ_thread* const thread = QZ_thread_create(run, nullptr, 0);
        step(thread != nullptr, "QZ_thread_create")) {
        QZ_thread_wait(thread);
        holds(ran == 1, "a thread that ended has not run");
    }
    ThreePasses task;
    Sync::Thread thread;
    thread.start(&task);
    if (step(thread.isRunning(), "Sync::Thread::start")) {
        holds(thread.wait(-1) && !thread.isRunning(), "Sync::Thread::wait");
        holds(task.passes == 3, "passes of a task");
    }
}

void lock() {
    if (QZ_semaphore* const semaphore = QZ_semaphore_create(1);
        step(semaphore != nullptr, "QZ_semaphore_create")) {
        holds(QZ_semaphore_wait(semaphore) == 0, "QZ_semaphore_wait");
        holds(QZ_semaphore_trywait(semaphore) == 0, "a count was there twice");
        holds(QZ_semaphore_signal(semaphore) != 0, "QZ_semaphore_signal");
        QZ_semaphore_destroy(semaphore);
    }
    if (QZ_mutex* const mutex = QZ_mutex_create(); step(mutex != nullptr, "QZ_mutex_create")) {
        QZ_mutex_lock(mutex);
        holds(QZ_mutex_trylock(mutex) != 0, "QZ_mutex_trylock by the owner");
        QZ_mutex_unlock(mutex);
        QZ_mutex_unlock(mutex);
        QZ_mutex_destroy(mutex);
    }
    Sync::Futex futex;
    futex.lock();
    holds(futex.try_lock(1), "Sync::Futex::try_lock");
    futex.unlock();
    futex.unlock();
}

} // namespace

void prepare() {}

void work() {
    startThreads();
    lock();
    // A query for which no thread could be started stays until a later call.
    stepOrThrow<std::bad_alloc>("PathfinderThread", [] {
        PathfinderThread::instance()->addQuery([](void*) { ++answered; }, nullptr);
        ++queries;
    });
    const Aside aside;
    for (int i = 0; i < (isDisturbed() ? 50 : 3000) && answered < queries; ++i) {
        usleep(1000);
    }
}

void finish() {
    counted(answered == queries, "queries");
}
