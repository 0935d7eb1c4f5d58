// The log's consumers beside the hook. Each has copies of the messages in a queue of its own, so a
// slow one takes no record from the log and no message from another consumer.
#pragma once

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"
#include "core/log_record.h"
#include "core/log_sink.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace core {

// One thread adds, one thread reads, and neither waits for the other.
class LogReaderQueue final : public LogSink {
public:
    // Not "= default": that would fill the copies with zeros.
    LogReaderQueue() {} // NOLINT(modernize-use-equals-default)

    void add(std::span<const LogRecord* const> records) override;

    // The entry stays as it is until the next call.
    const qz_log_entry* read() override;

private:
    static constexpr std::uint32_t kMostWaiting = 512;

    struct Copy {
        double time;
        std::uint32_t level;
        std::uint32_t lost;
        char module[sizeof(LogRecord::module)];
        char message[sizeof(LogRecord::message)];
    };

    void add(const LogRecord& record);

    Copy& copy(std::uint32_t number) { return copies_[number % kMostWaiting]; }

    // The numbers of messages ever read and ever added; they wrap around.
    std::atomic<std::uint32_t> read_{0};
    bool isFirstInUse_ = false; // the reading thread's, as is the entry
    qz_log_entry entry_{};
    std::array<Copy, kMostWaiting> copies_;
    std::atomic<std::uint32_t> added_{0};
    std::uint32_t lost_ = 0; // the adding thread's
};

} // namespace core

// A place for one consumer. Any thread may take and leave it, while the writer thread comes and
// goes. Nobody waits: if a consumer leaves while the writer thread uses the sink, the writer thread
// deletes the sink.
struct qz_log_reader {
public:
    // Takes over the sink, unless the place is taken.
    bool open(std::unique_ptr<core::LogSink>& sink);
    const qz_log_entry* read() { return sink_ != nullptr ? sink_->read() : nullptr; }
    void close();

    // For the writer thread, or the thread that stands in for it.
    void add(std::span<const core::LogRecord* const> records);

private:
    enum class State { free, changing, open, adding, closedWhileAdding };

    bool change(State from, State to) { return state_.compare_exchange_strong(from, to); }
    void release();

    std::atomic<State> state_{State::free};
    std::unique_ptr<core::LogSink> sink_;
};

namespace core {

class LogReaders {
public:
    // Null if the sink is null or no place is free.
    qz_log_reader* open(std::unique_ptr<LogSink> sink);

    void closeAll();

    // For the writer thread, or the thread that stands in for it.
    void add(std::span<const LogRecord* const> records);

private:
    static constexpr std::size_t kMost = 8;

    std::array<qz_log_reader, kMost> readers_;
};

} // namespace core
