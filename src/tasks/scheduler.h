// oneTBB's worker threads: an arena that has room for all of them and keeps no place for the
// threads that hand it work.
#pragma once

#include <memory>

namespace tasks {

class Scheduler {
public:
    using Job = void (*)(void* argument);

    // As many as there are processors, but two at least: on a single processor, too, somebody has
    // to run the task that another one waits for.
    static unsigned workerCount();

    Scheduler();

    // Nothing may be enqueued or running. Waits until the workers have ended, unless somebody else
    // in the process uses oneTBB and keeps them; not for one of them.
    ~Scheduler();

    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    // Has job(argument) called on a worker. It must not throw.
    void enqueue(Job job, void* argument);

private:
    struct Arena;
    std::unique_ptr<Arena> arena_;
};

} // namespace tasks
