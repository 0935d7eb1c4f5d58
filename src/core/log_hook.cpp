#include "core/log_hook.h"

#include <mutex>
#include <utility>

namespace core {

void LogHook::open() {
    gatherInit(queue_);
}

bool LogHook::start() {
    return !active_.exchange(true);
}

bool LogHook::isTaking() const {
    return active_.load(std::memory_order_acquire) && !closing_.load(std::memory_order_acquire);
}

const qz_log_entry* LogHook::read() {
    const std::lock_guard lock(lock_);
    if (!isTaking()) {
        return nullptr;
    }
    auto* record = static_cast<LogRecord*>(gatherPop(queue_));
    if (record == nullptr) {
        return nullptr;
    }
    releaseCurrent();
    current_ = record;
    entry_ = {record->time, record->module, record->message, record->level, record->lost};
    return &entry_;
}

void LogHook::stop() {
    const std::lock_guard lock(lock_);
    if (!active_.load(std::memory_order_acquire)) {
        return;
    }
    active_.store(false, std::memory_order_release);
    releaseCurrent();
    entry_ = {};
    // Last: it hands the queue over to the writer thread.
    closing_.store(true, std::memory_order_release);
}

void LogHook::close() {
    const std::lock_guard lock(lock_);
    active_.store(false, std::memory_order_release);
}

bool LogHook::offer(LogRecord& record) {
    if (closing_.load(std::memory_order_acquire)) {
        release();
        closing_.store(false, std::memory_order_release);
        return false;
    }
    if (!active_.load(std::memory_order_acquire)) {
        return false;
    }
    if (held_.load(std::memory_order_relaxed) >= kMostWaiting) {
        lost_.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    record.lost += lost_.exchange(0, std::memory_order_relaxed);
    held_.fetch_add(1, std::memory_order_relaxed);
    gatherPush(queue_, &record);
    return true;
}

void LogHook::release() {
    const std::lock_guard lock(lock_);
    while (void* record = gatherPop(queue_)) {
        giveBack(*static_cast<LogRecord*>(record));
    }
    lost_.store(0, std::memory_order_relaxed); // the next consumer has lost nothing yet
}

void LogHook::releaseCurrent() {
    if (LogRecord* record = std::exchange(current_, nullptr)) {
        giveBack(*record);
    }
}

void LogHook::giveBack(LogRecord& record) {
    held_.fetch_sub(1, std::memory_order_relaxed);
    pool_.give(record);
}

} // namespace core
