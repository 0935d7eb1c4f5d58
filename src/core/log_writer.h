// Takes records from the queue and writes them.
#pragma once

#include "core/log_duplicates.h"
#include "core/log_hook.h"
#include "core/log_outputs.h"
#include "core/log_reader.h"
#include "core/log_record.h"
#include "core/wake_signal.h"

#include <array>
#include <atomic>
#include <span>

namespace core {

// The queue and everything that handles its records. Any thread may queue. One thread at a time
// handles: the writer thread while it runs, else the one that starts or ends it.
class LogWriter {
public:
    LogWriter(LogRecordPool& pool, LogDuplicates& duplicates)
        : pool_(pool), duplicates_(duplicates), hook_(pool) {}

    bool open();
    void close() { signal_.destroy(); }

    // For a caller that is about to queue a record.
    void prefetch() const {
        platform::prefetchForWriting(&queue_);
        platform::prefetchForWriting(&signal_);
    }

    void queue(LogRecord& record) {
        gatherPush(queue_, &record);
        signal_.signal();
    }

    // True if everything queued so far is written and the writer thread rests. Any thread.
    bool isIdle() const { return signal_.isIdle(); }

    // The writer thread's loop, until endThread was called, which ends it after its current batch,
    // or it meets a signal without a record.
    void run();
    void endThread();

    // Takes all records out of circulation, writes those that are queued, says how many messages
    // were lost since, and closes the outputs. Threads that go on logging do not prolong it: they
    // find no record to queue.
    void drain();

    // Writes what is queued after all other threads were killed, the writer thread too. Takes no
    // lock, allocates nothing, and changes nothing that one of them may have left half changed.
    void rescue();

    LogHook& hook() { return hook_; }
    LogReaders& readers() { return readers_; }
    LogOutputs& outputs() { return outputs_; }

private:
    static constexpr std::int32_t kBatch = 64;

    // Records whose lines are written but may still be in a file's buffer.
    struct Batch {
        std::span<LogRecord* const> all() const { return {records.data(), count}; }

        std::array<LogRecord*, kBatch> records;
        std::size_t count = 0;
    };

    bool collect(Batch& batch, std::int32_t signals);
    void handle(LogRecord& record);
    void writeLost(std::uint32_t lost, double time);
    void writeUnlessRepeated(const LogMessage& message);
    void giveBack(const Batch& batch);

    LogRecordPool& pool_;
    alignas(64) QZ_atomic_gather queue_{};
    alignas(64) WakeSignal signal_;
    alignas(64) LogDuplicates& duplicates_;
    std::atomic<bool> endRequested_{false};
    LogOutputs outputs_;
    LogHook hook_;
    LogReaders readers_;
};

} // namespace core
