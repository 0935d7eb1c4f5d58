#include "tasks/serial_queue.h"

#include "Core/Clock.h"

#include <algorithm>
#include <utility>

namespace tasks {

namespace {

// How long a turn should take: long compared with the cost of changing turns, short compared with a
// frame.
constexpr double kSecondsATurn = 0.0002;
constexpr int kMostCallbacksATurn = 64;

} // namespace

SerialQueue::SerialQueue(std::string name, Workers& workers)
    : name_(std::move(name)), workers_(workers) {}

inline void SerialQueue::check() const {
    core::invariant(hasTurn_ || pending_.empty(), "SerialQueue: a callback waits without a turn");
}

bool SerialQueue::add(Task task) {
    if (workers_.isStopped()) {
        return true;
    }
    {
        const Lock lock(mutex_, *this);
        if (hasTurn_) {
            return pending_.push(task);
        }
        hasTurn_ = true;
        current_ = task;
    }
    workers_.addReserved({this, takeTurn});
    return true;
}

// Other threads must not touch the turn's batch, so the turn drops it when it sees the new epoch.
void SerialQueue::clear() {
    const Lock lock(mutex_, *this);
    pending_.clear();
    epoch_.fetch_add(1, std::memory_order_relaxed);
}

bool SerialQueue::hasPending() {
    const Lock lock(mutex_, *this);
    return !pending_.empty() ||
           (!batchIsCleared() && batchLeft_.load(std::memory_order_relaxed) != 0);
}

bool SerialQueue::isIdle() {
    const Lock lock(mutex_, *this);
    return !hasTurn_;
}

bool SerialQueue::takeWaitingTurn() {
    const bool isWaiting = workers_.remove({this, takeTurn});
    if (isWaiting) {
        takeTurn();
    }
    return isWaiting;
}

void SerialQueue::takeTurn(void* self) {
    static_cast<SerialQueue*>(self)->takeTurn();
}

void SerialQueue::takeTurn() {
    const std::int64_t begin = QZ_get_ticks();
    for (int left = callbacksATurn_; left > 0; --left) {
        current_.run();
        if (workers_.isStopped() || !advance()) {
            return;
        }
    }
    measureTurn(QZ_get_ticks() - begin);
    workers_.addReserved({this, takeTurn});
}

// The next turn runs as many callbacks as would have filled the time in this one.
void SerialQueue::measureTurn(std::int64_t ticks) {
    const double seconds = static_cast<double>(ticks) / static_cast<double>(QZ_get_tick_rate());
    const double fitting =
        callbacksATurn_ * kSecondsATurn / std::max(seconds, kSecondsATurn / kMostCallbacksATurn);
    callbacksATurn_ = static_cast<int>(std::clamp(fitting, 1.0, double{kMostCallbacksATurn}));
}

// Makes the next callback current. If there is none, ends the turn and returns false.
bool SerialQueue::advance() {
    if (batch_.empty() || batchIsCleared()) {
        if (!takeBatch()) {
            return false;
        }
    }
    current_ = batch_.pop();
    batchLeft_.store(batch_.size(), std::memory_order_relaxed);
    return true;
}

// Takes all pending callbacks; if there are none, ends the turn, and another turn may begin on
// another worker. The first of the batch is about to be current, so batchLeft_ does not count it.
bool SerialQueue::takeBatch() {
    batch_.clear();
    const Lock lock(mutex_, *this);
    if (pending_.empty()) {
        hasTurn_ = false;
        return false;
    }
    batch_.swap(pending_);
    batchLeft_.store(batch_.size() - 1, std::memory_order_relaxed);
    batchEpoch_ = epoch_.load(std::memory_order_relaxed);
    return true;
}

bool SerialQueue::batchIsCleared() const {
    return batchEpoch_ != epoch_.load(std::memory_order_relaxed);
}

} // namespace tasks
