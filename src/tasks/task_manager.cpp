#include "tasks/task_manager.h"

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Clock.h"
#include "Core/Log.h"
#include "Tasks/TaskManager.h"
#include "platform/library.h"
#include "platform/thread.h"
#include "tasks/census.h"
#include "tasks/queue_list.h"
#include "tasks/task_ring.h"
#include "tasks/workers.h"

#include <oneapi/tbb/spin_mutex.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>

namespace {

using tasks::SerialQueue;
using tasks::Task;
using tasks::Workers;

constexpr std::chrono::milliseconds kPoll{100};
constexpr std::chrono::milliseconds kLongestWaitAtExit{2000};
constexpr double kUntilEmpty = 1000000.0;
constexpr std::size_t kNoQueue = ~std::size_t{0};

class TaskManager {
public:
    explicit TaskManager(bool isStopped) : workers_(isStopped) {}

    bool addTask(Task task) { return workers_.add(task); }

    std::size_t createSerialQueue(std::string_view name) {
        return queues_.findOrMake(name, workers_);
    }
    SerialQueue* serialQueue(std::size_t number) const { return queues_.at(number); }
    void wait(SerialQueue& queue);
    void waitForAllSerialQueues();

    bool addMainThreadTask(Task task);
    void runMainThreadTasks(double seconds);

    bool stop(std::chrono::milliseconds limit);
    bool shutDown(std::chrono::milliseconds limit);

    tasks::Census census();

    // False in a forked child. It has none of the workers, and a lock may be held for ever.
    bool isOfThisProcess() const { return process_ == platform::processId(); }

private:
    using Lock = tbb::spin_mutex::scoped_lock;

    bool hasPendingSerialTasks() const;
    bool takeMainThreadTask(Task& task);

    Workers workers_;
    tasks::QueueList queues_;

    tbb::spin_mutex mainThreadMutex_;
    tasks::TaskRing mainThreadTasks_;

    const int process_ = platform::processId();
};

// A task keeps a worker, and the queue may need that one. So the task runs the queue's callbacks;
// but not others, which might wait for the callers of this.
void TaskManager::wait(SerialQueue& queue) {
    while (!workers_.isStopped() && !queue.isIdle()) {
        if (Workers::isCalledByTask() && queue.takeWaitingTurn()) {
            continue;
        }
        workers_.help();
        platform::sleepFor(kPoll);
    }
}

bool TaskManager::hasPendingSerialTasks() const {
    for (std::size_t i = 0; i < queues_.size(); ++i) {
        if (queues_.at(i)->hasPending()) {
            return true;
        }
    }
    return false;
}

void TaskManager::waitForAllSerialQueues() {
    runMainThreadTasks(kUntilEmpty);
    while (!workers_.isStopped() && hasPendingSerialTasks()) {
        workers_.help();
        platform::sleepFor(kPoll);
        runMainThreadTasks(kUntilEmpty);
    }
    runMainThreadTasks(kUntilEmpty);
}

bool TaskManager::addMainThreadTask(Task task) {
    const Lock lock(mainThreadMutex_);
    return workers_.isStopped() || mainThreadTasks_.push(task);
}

bool TaskManager::takeMainThreadTask(Task& task) {
    const Lock lock(mainThreadMutex_);
    if (mainThreadTasks_.empty()) {
        return false;
    }
    task = mainThreadTasks_.pop();
    return true;
}

// Goes on only while the time taken is less than the budget. If it went on at an equal time, a
// budget of 0 would run several tasks that take no time by a coarse clock.
void TaskManager::runMainThreadTasks(double seconds) {
    workers_.retry();
    const double start = QZ_get_time();
    Task task;
    while (takeMainThreadTask(task)) {
        task.run();
        const bool isTimeLeft = QZ_get_time() - start < seconds;
        if (!isTimeLeft) {
            return;
        }
    }
}

bool TaskManager::stop(std::chrono::milliseconds limit) {
    const bool tasksHaveEnded = workers_.stop(limit);
    const Lock lock(mainThreadMutex_);
    mainThreadTasks_.clear();
    return tasksHaveEnded;
}

bool TaskManager::shutDown(std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    if (!stop(limit) || Workers::isCalledByTask()) {
        return false;
    }
    const auto taken = std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - start);
    return workers_.close(std::max(limit - taken, std::chrono::milliseconds::zero()));
}

tasks::Census TaskManager::census() {
    tasks::Census counted = workers_.census();
    const Lock lock(mainThreadMutex_);
    counted.mainThread = mainThreadTasks_.size();
    return counted;
}

std::atomic<TaskManager*> existing{nullptr};
std::atomic<bool> processIsEnding{false};

// Called before oneTBB is taken down. oneTBB would crash if the thread that ends the process were
// known as a worker, so a worker's thread values are dropped first.
void stopAtExit() {
    existing.load()->stop(kLongestWaitAtExit);
    if (Workers::isCalledByTask()) {
        platform::forgetThreadValues();
    }
}

// Never destroyed, because other threads may call it until the process has ended.
TaskManager* makeManager() {
    alignas(TaskManager) static std::byte storage[sizeof(TaskManager)];
    platform::keepLibraryLoaded();
    existing = new (storage) TaskManager(processIsEnding);
    platform::onExit(stopAtExit);
    return existing;
}

TaskManager& manager() {
    static TaskManager& made = *makeManager();
    return made;
}

void reportIfLost(bool isAdded) {
    if (!isAdded) {
        qz_log("QZCORE", QZ_LOG_ERROR, "No memory for a task: it was not added.");
    }
}

std::chrono::milliseconds toMilliseconds(double seconds) {
    constexpr double kMost = 1000000.0;
    const double limited = seconds > 0.0 ? std::min(seconds, kMost) : 0.0;
    return std::chrono::milliseconds(static_cast<std::int64_t>(limited * 1000.0));
}

} // namespace

void tasks::discardAtExit() {
    processIsEnding = true;
    if (TaskManager* const manager = existing) {
        manager->stop(std::chrono::milliseconds(0));
    }
}

tasks::Census tasks::census() {
    TaskManager* const manager = existing;
    return manager != nullptr && manager->isOfThisProcess() ? manager->census() : Census{};
}

void QZ_add_task(void* argument, QZ_task_function function) {
    if (function != nullptr) {
        reportIfLost(manager().addTask({argument, function}));
    }
}

size_t QZ_create_serial_queue(const char* name) {
    try {
        return manager().createSerialQueue(name != nullptr ? name : "");
    } catch (const std::bad_alloc&) {
        qz_log("QZCORE", QZ_LOG_ERROR, "No memory for a serial queue: it was not made.");
        return kNoQueue;
    }
}

void QZ_add_serial_queue_task(size_t queue, void* argument, QZ_task_function function) {
    SerialQueue* const found = manager().serialQueue(queue);
    if (found != nullptr && function != nullptr) {
        reportIfLost(found->add({argument, function}));
    }
}

void QZ_wait_serial_queue(size_t queue) {
    if (SerialQueue* const found = manager().serialQueue(queue)) {
        manager().wait(*found);
    }
}

void QZ_clear_serial_queue(size_t queue, int) {
    if (SerialQueue* const found = manager().serialQueue(queue)) {
        found->clear();
    }
}

void QZ_wait_all_serial_queues(void) {
    manager().waitForAllSerialQueues();
}

void QZ_add_main_thread_task(void* argument, QZ_task_function function) {
    if (function != nullptr) {
        reportIfLost(manager().addMainThreadTask({argument, function}));
    }
}

void QZ_make_main_thread_task(double seconds) {
    manager().runMainThreadTasks(seconds);
}

int QZ_shutdown_tasks(double seconds) {
    TaskManager& existingOrNew = manager();
    const bool canNoneRun = !existingOrNew.isOfThisProcess();
    return canNoneRun || existingOrNew.shutDown(toMilliseconds(seconds)) ? 1 : 0;
}
