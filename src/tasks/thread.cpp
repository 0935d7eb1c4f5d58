#include "Tasks/Sync.h"

#include "platform/thread.h"

#include <chrono>
#include <memory>
#include <new>

struct Sync::Thread::Worker {
    platform::Thread native;
    // Not every system can wait for a thread with a time limit.
    platform::Semaphore finished;

    ~Worker() { finished.destroy(); }
};

namespace Sync {

Thread::~Thread() {
    wait(-1);
}

void Thread::start(Task* task) {
    if (thread_ != nullptr || task == nullptr) {
        return;
    }
    std::unique_ptr<Worker> worker(new (std::nothrow) Worker);
    if (!worker || !worker->finished.create(0)) {
        return;
    }
    task_ = task;
    thread_ = worker.get();
    running_ = 1;
    const auto run = [](void* self) { static_cast<Thread*>(self)->work(); };
    if (platform::startThread(worker->native, run, this)) {
        static_cast<void>(worker.release());
    } else {
        task_ = nullptr;
        thread_ = nullptr;
    }
}

void Thread::stop() {
    running_ = 0;
    wait(-1);
}

bool Thread::wait(int milliseconds) {
    if (thread_ == nullptr) {
        return true;
    }
    if (milliseconds >= 0 && !thread_->finished.waitFor(std::chrono::milliseconds(milliseconds))) {
        return false;
    }
    collect();
    return true;
}

void Thread::work() {
    // By a destructor, because a task may end its thread, for instance by pthread_exit.
    const auto signal = [](Worker* worker) { worker->finished.signal(); };
    const std::unique_ptr<Worker, decltype(signal)> finish(thread_, signal);
    bool again = task_->run(false);
    while (running_ != 0 && again) {
        again = task_->run(true);
    }
}

void Thread::collect() {
    platform::joinThread(thread_->native);
    delete thread_;
    thread_ = nullptr;
    task_ = nullptr;
}

} // namespace Sync
