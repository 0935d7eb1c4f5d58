// Takes the log's messages when they are in its files.
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

    // For the writer thread, or the thread that stands in for it. Takes no lock and throws nothing.
    virtual void add(std::span<const LogRecord* const> records) = 0;

    // For the thread that has the reader. Null if nothing waits or the sink keeps nothing.
    virtual const qz_log_entry* read() { return nullptr; }
};

// Calls take for each record that is a message; records may be requests as well.
template<class Take>
void forEachMessage(std::span<const LogRecord* const> records, Take take) {
    for (const LogRecord* const record : records) {
        if (!record->isRequest()) {
            take(*record);
        }
    }
}

} // namespace core
