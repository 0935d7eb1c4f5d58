#include "core/log_writer.h"

#include "Core/Clock.h"

namespace core {

bool LogWriter::open() {
    gatherInit(queue_);
    hook_.open();
    return signal_.create();
}

void LogWriter::run() {
    bool foundAll = true;
    while (foundAll && !endRequested_.load(std::memory_order_acquire)) {
        Batch batch;
        foundAll = collect(batch, signal_.wait(kBatch));
        outputs_.flush();
        giveBack(batch);
    }
}

void LogWriter::endThread() {
    endRequested_.store(true, std::memory_order_release);
    signal_.signal();
}

// Handles as many records as there were signals. False if there were fewer records: that is how the
// thread is told to end.
bool LogWriter::collect(Batch& batch, std::int32_t signals) {
    for (; signals > 0; --signals) {
        auto* record = static_cast<LogRecord*>(gatherPop(queue_));
        if (record == nullptr) {
            return false;
        }
        handle(*record);
        batch.records[batch.count++] = record;
    }
    return true;
}

void LogWriter::handle(LogRecord& record) {
    if (record.isRequest()) {
        outputs_.handle(record);
        return;
    }
    if (record.lost != 0) {
        writeLost(record.lost, record.time);
    }
    writeUnlessRepeated({record.time, record.level, record.module, record.message});
}

void LogWriter::writeLost(std::uint32_t lost, double time) {
    writeUnlessRepeated({time, QZ_LOG_WARNING, kLogModule, LostRemark(lost).text, lost});
}

void LogWriter::writeUnlessRepeated(const LogMessage& message) {
    const LogDuplicates::Verdict verdict = duplicates_.check(message.text);
    if (verdict.isDuplicate) {
        return;
    }
    if (verdict.skipped != 0) {
        const LogRemark remark(verdict.skipped, "duplicate message(s) skipped.");
        outputs_.write({message.time, QZ_LOG_WARNING, kLogModule, remark.text, verdict.skipped});
    }
    outputs_.write(message);
}

// Called after the flush: if a record is taken again, its line is in the file.
void LogWriter::giveBack(const Batch& batch) {
    readers_.add(batch.all());
    LogRecordPool::Returns returns(pool_);
    for (LogRecord* const record : batch.all()) {
        if (record->isRequest() || !hook_.offer(*record)) {
            returns.add(*record);
        }
    }
}

// A producer links its element before anybody can link behind it, so the chain of links is whole up
// to its end, whatever was interrupted. The loop is limited in case foreign code has damaged the
// chain.
void LogWriter::rescue() {
    outputs_.flush();
    std::uintptr_t element = AtomicWord(queue_.first).load(std::memory_order_acquire);
    for (std::size_t i = 0; i < LogRecordPool::kRecords && element != wordOf(&queue_); ++i) {
        const auto& record = *static_cast<const LogRecord*>(pointerTo(element));
        if (!record.isRequest()) {
            if (record.lost != 0) {
                outputs_.write({record.time, QZ_LOG_WARNING, kLogModule,
                                LostRemark(record.lost).text, record.lost});
            }
            outputs_.write({record.time, record.level, record.module, record.message});
            outputs_.flush();
        }
        element = linkOf(element).load(std::memory_order_acquire);
    }
}

void LogWriter::drain() {
    hook_.release();
    pool_.drain();
    Batch batch;
    while (const std::int32_t signals = signal_.take(kBatch)) {
        batch.count = 0;
        const bool foundAll = collect(batch, signals);
        readers_.add(batch.all());
        if (!foundAll) {
            break;
        }
    }
    if (const std::uint32_t lost = pool_.takeLost()) {
        writeLost(lost, QZ_get_time());
    }
    outputs_.closeAll();
}

} // namespace core
