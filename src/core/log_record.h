// The unit of the log: what a caller fills and the writer thread writes.
#pragma once

#include "Core/Atomics.h"
#include "core/lock_free.h"
#include "platform/compiler.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace core {

// Has cache lines of its own, so that threads which use it do not slow those that use its
// neighbours.
struct alignas(64) LogRecord {
    static constexpr double kControlTime = -1.0;

    std::uintptr_t link; // for the containers
    double time;         // below 0.0: a request to open, change or close an output
    std::uint32_t level; // for a request, the output's mask
    std::uint32_t lost;  // messages lost just before this one
    char module[64];     // for a request, the module filter
    // Begins a cache line, so that a short message touches no more than one. For a request, the
    // output's name.
    alignas(64) char message[384];

    bool isRequest() const { return time < 0.0; }
};

// The fixed set of records. Any thread may take and give back records, without a lock.
class LogRecordPool {
public:
    static constexpr std::size_t kRecords = 1024;

    // Makes every record free.
    void fill() {
        QZ_atomic_stack_init(&free_);
        lost_.store(0, std::memory_order_relaxed);
        std::for_each(records_.begin(), records_.end(),
                      [this](LogRecord& record) { give(record); });
    }

    // Takes all free records out of circulation for good.
    void drain() {
        while (stackPop(free_) != nullptr) {
        }
    }

    // For a caller that is about to take a record.
    void prefetch() const { platform::prefetchForWriting(&free_); }

    // Null if no record is free; the message is then counted as lost.
    LogRecord* take() {
        auto* record = static_cast<LogRecord*>(stackPop(free_));
        if (record != nullptr) {
            prefetchRecord(record->link);
        } else {
            lost_.fetch_add(1, std::memory_order_relaxed);
        }
        return record;
    }

    // How many messages were lost since the last call. Looks first, because the exchange takes
    // longer and there is nearly never anything to fetch.
    std::uint32_t takeLost() {
        return lost_.load(std::memory_order_relaxed) == 0 ? 0 : lost_.exchange(0);
    }

    void give(LogRecord& record) { stackPush(free_, &record); }

    // Gives back its records in one step when it is destroyed.
    class Returns {
    public:
        explicit Returns(LogRecordPool& pool) : pool_(pool) {}
        Returns(const Returns&) = delete;
        Returns& operator=(const Returns&) = delete;

        ~Returns() {
            if (top_ != nullptr) {
                stackPushChain(pool_.free_, top_, bottom_);
            }
        }

        void add(LogRecord& record) {
            record.link = wordOf(top_);
            top_ = &record;
            bottom_ = bottom_ != nullptr ? bottom_ : &record;
        }

    private:
        LogRecordPool& pool_;
        LogRecord* top_ = nullptr;
        LogRecord* bottom_ = nullptr;
    };

private:
    // The writer thread used the next record last, most likely on another processor. Its cache
    // lines come here while this caller fills the record before it.
    static void prefetchRecord(std::uintptr_t record) {
        platform::prefetchForWriting(pointerTo(record));
        platform::prefetchForWriting(pointerTo(record + offsetof(LogRecord, message)));
    }

    alignas(64) QZ_atomic_stack free_{};
    alignas(64) std::atomic<std::uint32_t> lost_{0};
    std::array<LogRecord, kRecords> records_{};
};

} // namespace core
