// Threads of the library's own, each for one job: what there is when oneTBB has failed.
#pragma once

#include "tasks/job.h"

#include <atomic>

namespace tasks {

// It must outlive its threads, and so must the library.
class SpareThreads {
public:
    // Each of them calls job(argument), which must not throw.
    SpareThreads(Job job, void* argument) : job_(job), argument_(argument) {}

    // False if there is no thread to be had.
    bool start();

    bool haveEnded() const { return running_.load(std::memory_order_acquire) == 0; }

private:
    static void run(void* self);

    const Job job_;
    void* const argument_;
    std::atomic<unsigned> running_{0};
};

} // namespace tasks
