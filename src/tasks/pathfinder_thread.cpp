#include "Tasks/PathfinderThread.h"

#include "platform/library.h"
#include "platform/thread.h"

#include <mutex>
#include <new>

struct PathfinderThread::Worker {
    platform::Thread native;
    bool isStarted = false;
    platform::RecursiveMutex mutex;  // guards the queue
    platform::Semaphore queriesLeft; // one count for each query, so none is left behind

    Worker() {
        if (!queriesLeft.create(0)) {
            throw std::bad_alloc();
        }
        mutex.create();
    }
};

PathfinderThread* PathfinderThread::instance() {
    static auto* const theInstance = new PathfinderThread;
    return theInstance;
}

PathfinderThread::PathfinderThread() : worker_(new Worker) {
    platform::keepLibraryLoaded();
}

void PathfinderThread::addQuery(Query query, void* argument) {
    if (query == nullptr) {
        return;
    }
    const std::lock_guard lock(worker_->mutex);
    queries_.emplace_back(query, argument);
    worker_->queriesLeft.signal();
    if (!worker_->isStarted) {
        const auto run = [](void* self) { static_cast<PathfinderThread*>(self)->work(); };
        worker_->isStarted = platform::startThread(worker_->native, run, this);
    }
}

void PathfinderThread::work() {
    platform::nameThread("qz paths");
    for (;;) {
        suspendIfFinished();
        const auto [query, argument] = popQuery();
        query(argument);
    }
}

void PathfinderThread::suspendIfFinished() {
    while (worker_->queriesLeft.wait() != 0) {
    }
}

std::pair<PathfinderThread::Query, void*> PathfinderThread::popQuery() {
    const std::lock_guard lock(worker_->mutex);
    const auto oldest = queries_.front();
    queries_.pop_front();
    return oldest;
}
