// The queue from the writer thread to the consumer that has the hook.
#pragma once

#include "core/library_log.h"
#include "core/log_record.h"
#include "core/spin.h"

#include <atomic>

namespace core {

class LogHook {
public:
    explicit LogHook(LogRecordPool& pool) : pool_(pool) {}

    void open();

    // These three are for the consumer; see Core/Log.h.
    bool start();
    const qz_log_entry* read();
    void stop();

    // For the end of the log, on any thread. The consumer may be in the middle of a call and go on
    // reading its entry, which stays as it is.
    void close();

    // For the writer thread: true if the hook keeps the record.
    bool offer(LogRecord& record);

    // Gives back the records that wait for a consumer that has gone. For the writer thread, or the
    // thread that stands in for it.
    void release();

private:
    static constexpr std::int32_t kMostWaiting = 512;

    bool isTaking() const;
    void releaseCurrent();
    void giveBack(LogRecord& record);

    LogRecordPool& pool_;
    QZ_atomic_gather queue_{};
    // Held for a few instructions by each reader of the queue. There may be two, because the
    // consumer does not know when the log ends.
    SpinLock lock_;
    std::atomic<bool> active_{false};
    std::atomic<bool> closing_{false};
    std::atomic<std::int32_t> held_{0}; // records that wait, and the one being read
    std::atomic<std::uint32_t> lost_{0};
    LogRecord* current_ = nullptr; // the consumer's
    qz_log_entry entry_{};
};

} // namespace core
