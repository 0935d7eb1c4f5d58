#include "tasks/spare_threads.h"

#include "platform/thread.h"

namespace tasks {

bool SpareThreads::start() {
    platform::Thread thread;
    running_.fetch_add(1, std::memory_order_relaxed);
    if (!platform::startThread(thread, run, this)) {
        running_.fetch_sub(1, std::memory_order_relaxed);
        return false;
    }
    platform::detachThread(thread);
    return true;
}

void SpareThreads::run(void* self) {
    platform::nameThread(kWorkerName);
    auto& threads = *static_cast<SpareThreads*>(self);
    threads.job_(threads.argument_);
    threads.running_.fetch_sub(1, std::memory_order_release);
}

} // namespace tasks
