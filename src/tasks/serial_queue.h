// A queue whose callbacks run one after another.
#pragma once

#include "core/invariant.h"
#include "tasks/task_ring.h"
#include "tasks/workers.h"

#include <oneapi/tbb/spin_mutex.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace tasks {

// The queue has at most one turn: a task of the workers that runs the queue's callbacks until there
// are none or other tasks have waited long enough. The decision to start a turn when adding, and
// the decision to end it when nothing is left, are made under the lock, so every callback has a
// turn.
//
// The current callback belongs to the turn, and is not pending any more, even if it has not begun.
// The turn takes all pending callbacks at once, as a batch, so it takes the lock once a batch only.
class SerialQueue {
public:
    // Before tasks are added, room for the queue's turn must be reserved: see Workers::reserve.
    SerialQueue(std::string name, Workers& workers);

    std::string_view name() const { return name_; }

    // False if there is no memory for it.
    bool add(Task task);
    void clear();
    bool hasPending();
    bool isIdle();

    // If the queue's turn waits for a worker, takes it on the calling thread. False if it does not.
    bool takeWaitingTurn();

private:
    using Lock = core::CheckedLock<tbb::spin_mutex::scoped_lock, SerialQueue>;
    friend Lock;

    static void takeTurn(void* self);

    void takeTurn();
    bool advance();
    bool takeBatch();
    bool batchIsCleared() const;
    void measureTurn(std::int64_t ticks);
    void check() const; // with the lock held

    const std::string name_;
    Workers& workers_;

    alignas(64) tbb::spin_mutex mutex_;
    bool hasTurn_ = false;
    TaskRing pending_;
    std::uint32_t batchEpoch_ = 0; // the epoch at which the batch was taken

    // Only the turn uses these; other threads may read the atomic ones.
    alignas(64) Task current_;
    TaskRing batch_;
    int callbacksATurn_ = 1; // 1 until a turn has measured how long they take
    std::atomic<std::size_t> batchLeft_{0};
    std::atomic<std::uint32_t> epoch_{0}; // how often the queue was cleared
};

} // namespace tasks
