// A queue whose callbacks run one after another.
#pragma once

#include "tasks/task_ring.h"
#include "tasks/workers.h"

#include <oneapi/tbb/spin_mutex.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace tasks {

// The queue has at most one turn: a task of the workers that runs its callbacks until there are
// none or others have waited long enough. The lock is held across both decisions, to start a turn
// when adding and to end it when nothing is left, so that no callback is left behind without a
// turn.
//
// The current callback belongs to the turn: it is no longer pending from the moment at which it is
// to be the next one. The turn takes all that is pending at once, so that it meets those who add
// only once a batch.
class SerialQueue {
public:
    // The workers keep room for its turn: see Workers::reserve.
    SerialQueue(std::string name, Workers& workers);

    std::string_view name() const { return name_; }

    // False if there is no memory for it.
    bool add(Task task);
    void clear();
    bool hasPending();
    bool isIdle();

private:
    using Lock = tbb::spin_mutex::scoped_lock;

    static void takeTurn(void* self);

    void takeTurn();
    bool advance();
    bool takeBatch();
    bool batchIsCleared() const;
    void measureTurn(std::int64_t ticks);

    const std::string name_;
    Workers& workers_;

    alignas(64) tbb::spin_mutex mutex_;
    bool hasTurn_ = false;
    TaskRing pending_;
    std::uint32_t batchEpoch_ = 0; // the epoch at which the batch was taken

    // The turn's own, but for what others may look at.
    alignas(64) Task current_;
    TaskRing batch_;
    int callbacksATurn_ = 1; // until it is known how long they take
    std::atomic<std::size_t> batchLeft_{0};
    std::atomic<std::uint32_t> epoch_{0}; // how often the queue was cleared
};

} // namespace tasks
