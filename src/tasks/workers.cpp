#include "tasks/workers.h"

#include "core/spin.h"
#include "platform/thread.h"

namespace tasks {

namespace {

// Then a drainer goes behind what others in the process have given the scheduler.
constexpr int kTasksATurn = 256;

// How long a drainer looks around: some twenty microseconds, half of what waking a thread takes.
constexpr int kLooks = 16;
constexpr int kPausesALook = 32;

constexpr std::chrono::milliseconds kPoll{1};

// More than one if a task waits for the scheduler's other work, and is given a drainer to run.
thread_local unsigned drainersHere = 0;

template<class Condition>
bool waitUntil(std::chrono::milliseconds limit, Condition isTrue) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        platform::sleepFor(kPoll);
    }
    return true;
}

} // namespace

Workers::Workers(bool isStopped)
    : scheduler_(isStopped ? nullptr : new Scheduler), isStopped_(isStopped) {}

bool Workers::isCalledByTask() {
    return drainersHere != 0;
}

void Workers::add(Task task) {
    bool isNeeded = false;
    {
        const Lock lock(mutex_);
        if (isStopped()) {
            return;
        }
        tasks_.push_back(task);
        hasTasks_.store(true, std::memory_order_relaxed);
        isNeeded = countDrainerIfNeeded();
    }
    if (isNeeded) {
        enqueueDrainer();
    }
}

// With the lock held. Counts it as looking from now on, so that one is not asked for twice.
bool Workers::countDrainerIfNeeded() {
    if (tasks_.empty() || looking_ != 0 || drainers_ == mostDrainers_) {
        return false;
    }
    ++drainers_;
    ++looking_;
    ++enqueuing_;
    return true;
}

void Workers::enqueueDrainer() {
    scheduler_->enqueue(drain, this);
    const Lock lock(mutex_);
    --enqueuing_;
}

void Workers::drain(void* self) {
    static_cast<Workers*>(self)->drain();
}

void Workers::drain() {
    {
        const Lock lock(mutex_);
        ++inside_;
    }
    ++drainersHere;
    Task task;
    auto activity = Activity::looking;
    int left = kTasksATurn;
    while (left > 0 && next(task, activity)) {
        task.run();
        --left;
    }
    if (left == 0) {
        goBehindOthers();
    }
    --drainersHere;
}

// False when the drainer has left.
bool Workers::next(Task& task, Activity& activity) {
    for (;;) {
        bool isFound = false;
        bool isNeeded = false;
        {
            const Lock lock(mutex_);
            isFound = take(task, activity);
            isNeeded = countDrainerIfNeeded();
            if (!isFound && !stayToLook(activity)) {
                return false;
            }
        }
        if (isNeeded) {
            enqueueDrainer();
        }
        if (isFound) {
            return true;
        }
        lookAround();
    }
}

bool Workers::take(Task& task, Activity& activity) {
    if (tasks_.empty()) {
        return false;
    }
    task = tasks_.front();
    tasks_.pop_front();
    hasTasks_.store(!tasks_.empty(), std::memory_order_relaxed);
    if (activity == Activity::looking) {
        activity = Activity::running;
        --looking_;
    }
    return true;
}

// One looks around; for more there would be nothing to find, and they cost others the processor.
bool Workers::stayToLook(Activity& activity) {
    if (activity == Activity::running && looking_ == 0 && !isStopped()) {
        activity = Activity::looking;
        ++looking_;
        return true;
    }
    if (activity == Activity::looking) {
        --looking_;
    }
    --drainers_;
    --inside_;
    return false;
}

void Workers::lookAround() const {
    for (int look = 0; look < kLooks && !hasTasks_.load(std::memory_order_relaxed); ++look) {
        for (int pause = 0; pause < kPausesALook; ++pause) {
            core::relax();
        }
        platform::yieldThread();
    }
}

// Waiting for a worker again it counts as looking.
void Workers::goBehindOthers() {
    {
        const Lock lock(mutex_);
        --inside_;
        if (isStopped()) {
            --drainers_;
            return;
        }
        ++looking_;
        ++enqueuing_;
    }
    enqueueDrainer();
}

bool Workers::stop(std::chrono::milliseconds limit) {
    std::deque<Task> discarded;
    {
        const Lock lock(mutex_);
        isStopped_.store(true, std::memory_order_release);
        tasks_.swap(discarded);
        hasTasks_.store(false, std::memory_order_relaxed);
    }
    return waitUntil(limit, [this] { return tasksHaveEnded(); });
}

bool Workers::close(std::chrono::milliseconds limit) {
    if (!waitUntil(limit, [this] { return drainersHaveEnded(); })) {
        return false;
    }
    std::unique_ptr<Scheduler> closed;
    const Lock lock(mutex_);
    closed.swap(scheduler_);
    return true;
}

bool Workers::tasksHaveEnded() {
    const Lock lock(mutex_);
    return inside_ <= drainersHere && enqueuing_ == 0;
}

bool Workers::drainersHaveEnded() {
    const Lock lock(mutex_);
    return drainers_ == 0 && enqueuing_ == 0;
}

} // namespace tasks
