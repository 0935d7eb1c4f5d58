#include "tasks/workers.h"

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"
#include "platform/pause.h"
#include "platform/thread.h"
#include "platform/wait_until.h"

#include <utility>

namespace tasks {

namespace {

// After so many tasks a drainer goes behind the work that other code has given the scheduler.
constexpr int kTasksATurn = 256;

// How long a drainer looks for tasks: some twenty microseconds, half of what waking a thread takes.
constexpr int kLooks = 16;
constexpr int kPausesALook = 32;

constexpr std::chrono::milliseconds kPoll{1};

// How many drainers run on this thread. More than one if a task waits for other work of the
// scheduler, which may run a drainer meanwhile.
thread_local unsigned drainersHere = 0;

} // namespace

Workers::Workers(bool isStopped) : isStopped_(isStopped) {
    if (!isStopped) {
        scheduler_.emplace();
    }
}

bool Workers::isCalledByTask() {
    return drainersHere != 0;
}

inline void Workers::check() const {
    using core::invariant;
    invariant(drainers_ == awaited_ + inside_,
              "Workers: a drainer neither awaited nor on a thread");
    invariant(drainers_ <= mostDrainers_, "Workers: more drainers than workers");
    invariant(looking_ <= drainers_, "Workers: more drainers that look than there are");
    invariant(awaited_ <= looking_, "Workers: an awaited drainer does not count as looking");
    invariant(reserved_ <= tasks_.capacity(), "Workers: no room for the tasks it is reserved for");
    invariant(hasTasks_.load(std::memory_order_relaxed) != tasks_.empty(),
              "Workers: those who look without the lock are told wrongly");
    invariant(tasks_.empty() || looking_ != 0 || drainers_ == mostDrainers_ || isShortage_,
              "Workers: a task waits and nobody looks for it");
    invariant(tasks_.empty() || !isStopped(), "Workers: a task waits after the end");
    invariant(drainers_ == 0 || !isClosed_, "Workers: closed, with a drainer left");
}

bool Workers::reserve() {
    const Lock lock(mutex_, *this);
    const bool isRoom = tasks_.reserve(tasks_.size() + reserved_ + 1);
    reserved_ += isRoom ? 1 : 0;
    return isRoom;
}

bool Workers::add(Task task) {
    return push(task, Room::any);
}

void Workers::addReserved(Task task) {
    push(task, Room::reserved);
}

bool Workers::push(Task task, Room room) {
    bool isNeeded = false;
    {
        const Lock lock(mutex_, *this);
        if (isStopped()) {
            return true;
        }
        const std::size_t toLeave = room == Room::any ? reserved_ : 0;
        if (!tasks_.reserve(tasks_.size() + 1 + toLeave)) {
            return false;
        }
        tasks_.push(task);
        hasTasks_.store(true, std::memory_order_relaxed);
        isNeeded = countDrainerIfNeeded();
    }
    if (isNeeded) {
        callDrainer();
    }
    return true;
}

bool Workers::remove(Task task) {
    const Lock lock(mutex_, *this);
    const bool isRemoved = tasks_.remove(task);
    hasTasks_.store(!tasks_.empty(), std::memory_order_relaxed);
    return isRemoved;
}

void Workers::retry() {
    if (!hasTasks_.load(std::memory_order_relaxed)) {
        return;
    }
    bool isNeeded = false;
    {
        const Lock lock(mutex_, *this);
        isNeeded = countDrainerIfNeeded();
    }
    if (isNeeded) {
        callDrainer();
    }
}

void Workers::help() {
    retry();
    bool isAlone = false;
    {
        const Lock lock(mutex_, *this);
        isAlone = isShortage_;
    }
    if (isAlone) {
        drain();
    }
}

// Call it with the lock held. Counts the new drainer as looking at once, so that only one is
// requested.
bool Workers::countDrainerIfNeeded() {
    if (tasks_.empty() || looking_ != 0 || drainers_ == mostDrainers_) {
        return false;
    }
    ++drainers_;
    countAsAwaited();
    return true;
}

void Workers::countAsAwaited() {
    ++looking_;
    ++awaited_;
    ++calling_;
}

// False if oneTBB does not run it.
bool Workers::callDrainer() {
    const bool isCalled = scheduler_->enqueue(drain, this);
    if (!isCalled) {
        callSpareDrainers();
    }
    const Lock lock(mutex_, *this);
    --calling_;
    return isCalled;
}

// Starts a thread for each awaited drainer, because oneTBB may have lost those it was given before.
void Workers::callSpareDrainers() {
    unsigned left = 0;
    {
        const Lock lock(mutex_, *this);
        left = awaited_;
    }
    for (; left > 0; --left) {
        if (!spareThreads_.start()) {
            giveDrainerUp();
        }
    }
}

// One of those that are awaited, because it gets no thread. Only the first one in a row is logged.
void Workers::giveDrainerUp() {
    {
        const Lock lock(mutex_, *this);
        if (awaited_ == 0) {
            return;
        }
        --awaited_;
        --looking_;
        --drainers_;
        if (std::exchange(isShortage_, true)) {
            return;
        }
    }
    qz_log("QZCORE", QZ_LOG_ERROR, "No thread can be started for tasks: they wait.");
}

void Workers::drain(void* self) {
    static_cast<Workers*>(self)->drain();
}

void Workers::drain() {
    while (enter()) {
        ++drainersHere;
        const bool isTurnOver = drainForATurn();
        const bool hasLeft = !isTurnOver || goBehindOthers();
        --drainersHere;
        if (hasLeft) {
            return;
        }
    }
}

// Takes the place of an awaited drainer; if there is none, enters only if tasks wait.
bool Workers::enter() {
    const Lock lock(mutex_, *this);
    if (awaited_ != 0) {
        --awaited_;
    } else if (!tasks_.empty() && drainers_ != mostDrainers_) {
        ++drainers_;
        ++looking_;
    } else {
        return false;
    }
    ++inside_;
    isShortage_ = false;
    return true;
}

// True after kTasksATurn tasks; false if the drainer has left before.
bool Workers::drainForATurn() {
    Task task;
    auto activity = Activity::looking;
    for (int left = kTasksATurn; left > 0; --left) {
        if (!next(task, activity)) {
            return false;
        }
        task.run();
    }
    return true;
}

// False if the drainer has left.
bool Workers::next(Task& task, Activity& activity) {
    for (;;) {
        bool isFound = false;
        bool isNeeded = false;
        {
            const Lock lock(mutex_, *this);
            isFound = take(task, activity);
            isNeeded = countDrainerIfNeeded();
            if (!isFound && !stayToLook(activity)) {
                return false;
            }
        }
        if (isNeeded) {
            callDrainer();
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
    task = tasks_.pop();
    hasTasks_.store(!tasks_.empty(), std::memory_order_relaxed);
    if (activity == Activity::looking) {
        activity = Activity::running;
        --looking_;
    }
    return true;
}

// Only one drainer stays to look: others would find nothing and take processor time.
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
            platform::pause();
        }
        platform::yieldThread();
    }
}

// Makes the drainer awaited, and so looking, again. False if the scheduler does not take it; then
// it enters again.
bool Workers::goBehindOthers() {
    {
        const Lock lock(mutex_, *this);
        --inside_;
        if (isStopped()) {
            --drainers_;
            return true;
        }
        countAsAwaited();
    }
    return callDrainer();
}

bool Workers::stop(std::chrono::milliseconds limit) {
    {
        const Lock lock(mutex_, *this);
        isStopped_.store(true, std::memory_order_release);
        tasks_.clear();
        hasTasks_.store(false, std::memory_order_relaxed);
    }
    return platform::waitUntil(limit, kPoll, [this] { return tasksHaveEnded(); });
}

bool Workers::close(std::chrono::milliseconds limit) {
    if (!platform::waitUntil(limit, kPoll, [this] { return drainersHaveEnded(); })) {
        return false;
    }
    bool isFirst = false;
    {
        const Lock lock(mutex_, *this);
        isFirst = !std::exchange(isClosed_, true);
    }
    if (isFirst) {
        scheduler_.reset();
        schedulerHasEnded_ = true;
    }
    return platform::waitUntil(limit, kPoll, [this] { return schedulerHasEnded_.load(); });
}

Census Workers::census() {
    const Lock lock(mutex_, *this);
    return {isClosed_ ? 0 : mostDrainers_, drainers_ - looking_, tasks_.size(), 0};
}

bool Workers::tasksHaveEnded() {
    const Lock lock(mutex_, *this);
    return inside_ <= drainersHere && calling_ == 0;
}

bool Workers::drainersHaveEnded() {
    const Lock lock(mutex_, *this);
    return drainers_ == 0 && calling_ == 0 && spareThreads_.haveEnded();
}

} // namespace tasks
