// Threads of the library's own, each for one job. They replace oneTBB's when oneTBB has failed.
#pragma once

#include "tasks/job.h"

#include <atomic>

namespace tasks {

// The object must outlive its threads, and the library must stay loaded as long.
class SpareThreads {
public:
    // Each thread calls job(argument), which must not throw.
    SpareThreads(Job job, void* argument) : job_(job), argument_(argument) {}

    // False if no thread can be started.
    bool start();

    bool haveEnded() const { return running_.load(std::memory_order_acquire) == 0; }

private:
    static void run(void* self);

    const Job job_;
    void* const argument_;
    std::atomic<unsigned> running_{0};
};

} // namespace tasks
