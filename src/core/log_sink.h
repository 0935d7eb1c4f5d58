// What messages are handed to when they are in the log's files.
#pragma once

#include "core/log_record.h"

#include <span>

struct qz_log_entry;

namespace core {

class LogSink {
public:
    LogSink() = default;
    virtual ~LogSink() = default;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

    // On the writer thread, or on whoever stands in for it: takes no lock and throws nothing.
    virtual void add(std::span<const LogRecord* const> records) = 0;

    // For the thread that has the reader. Null if nothing waits, or if this keeps nothing.
    virtual const qz_log_entry* read() { return nullptr; }
};

// Records may be requests as well.
template<class Take>
void forEachMessage(std::span<const LogRecord* const> records, Take take) {
    for (const LogRecord* const record : records) {
        if (!record->isRequest()) {
            take(*record);
        }
    }
}

} // namespace core
