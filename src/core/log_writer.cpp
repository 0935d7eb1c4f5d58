#include "core/log_writer.h"

#include <cstdio>

namespace core {

namespace {

constexpr char kModule[] = "LOG";

// What the log itself has to say, at the time of the message that is the occasion.
struct Remark {
    Remark(unsigned int number, const char* what) {
        std::snprintf(text, sizeof text, "%u %s", number, what);
    }

    char text[64];
};

} // namespace

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

// Handles as many records as there were signals; false if there were fewer records, which is how a
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
        const Remark remark(record.lost, "messages lost");
        writeUnlessRepeated({record.time, QZ_LOG_WARNING, kModule, remark.text});
    }
    writeUnlessRepeated({record.time, record.level, record.module, record.message});
}

void LogWriter::writeUnlessRepeated(const Message& message) {
    const LogDuplicates::Verdict verdict = duplicates_.check(message.text);
    if (verdict.isDuplicate) {
        return;
    }
    if (verdict.skipped != 0) {
        const Remark remark(verdict.skipped, "duplicate message(s) skipped.");
        write({message.time, QZ_LOG_WARNING, kModule, remark.text});
    }
    write(message);
}

void LogWriter::write(const Message& message) {
    if (outputs_.wants(message.level, message.module)) {
        outputs_.write(message.level, message.module,
                       LogLine(message.time, message.level, message.module, message.text));
    }
}

// Only now: whoever takes a record again may rely on its line being in the file.
void LogWriter::giveBack(const Batch& batch) {
    LogRecordPool::Returns returns(pool_);
    for (std::size_t i = 0; i < batch.count; ++i) {
        LogRecord& record = *batch.records[i];
        if (record.isRequest() || !hook_.offer(record)) {
            returns.add(record);
        }
    }
}

// The chain of links is whole up to its end, whatever was interrupted: a producer links its element
// before anybody can link behind it. Its length is bounded in case the interruption was a
// stranger's.
void LogWriter::rescue() {
    outputs_.flushWithoutLock();
    std::uintptr_t element = AtomicWord(queue_.first).load(std::memory_order_acquire);
    for (std::size_t i = 0; i < LogRecordPool::kRecords && element != wordOf(&queue_); ++i) {
        const auto& record = *static_cast<const LogRecord*>(pointerTo(element));
        if (!record.isRequest()) {
            write({record.time, record.level, record.module, record.message});
            outputs_.flushWithoutLock();
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
        if (!collect(batch, signals)) {
            break;
        }
    }
    outputs_.closeAll();
}

} // namespace core
