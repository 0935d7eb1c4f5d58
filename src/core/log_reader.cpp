#include "core/log_reader.h"

#include "platform/cut_text.h"

#include <algorithm>
#include <utility>

namespace core {

void LogReaderQueue::add(std::span<const LogRecord* const> records) {
    forEachMessage(records, [this](const LogRecord& record) { add(record); });
}

void LogReaderQueue::add(const LogRecord& record) {
    const std::uint32_t added = added_.load(std::memory_order_relaxed);
    if (added - read_.load(std::memory_order_acquire) == kMostWaiting) {
        lost_ += record.lost + 1;
        return;
    }
    Copy& copy = this->copy(added);
    copy.time = record.time;
    copy.level = record.level;
    copy.lost = record.lost + std::exchange(lost_, 0);
    platform::copyCut(copy.module, record.module);
    platform::copyCut(copy.message, record.message);
    added_.store(added + 1, std::memory_order_release);
}

const qz_log_entry* LogReaderQueue::read() {
    std::uint32_t next = read_.load(std::memory_order_relaxed);
    if (std::exchange(isFirstInUse_, false)) {
        read_.store(++next, std::memory_order_release);
    }
    if (next == added_.load(std::memory_order_acquire)) {
        return nullptr;
    }
    isFirstInUse_ = true;
    const Copy& copy = this->copy(next);
    entry_ = {copy.time, copy.module, copy.message, copy.level, copy.lost};
    return &entry_;
}

qz_log_reader* LogReaders::open(std::unique_ptr<LogSink> sink) {
    if (sink == nullptr) {
        return nullptr;
    }
    const auto place = std::find_if(readers_.begin(), readers_.end(),
                                    [&sink](auto& reader) { return reader.open(sink); });
    return place != readers_.end() ? &*place : nullptr;
}

void LogReaders::closeAll() {
    for (qz_log_reader& reader : readers_) {
        reader.close();
    }
}

void LogReaders::add(std::span<const LogRecord* const> records) {
    for (qz_log_reader& reader : readers_) {
        reader.add(records);
    }
}

} // namespace core

bool qz_log_reader::open(std::unique_ptr<core::LogSink>& sink) {
    if (!change(State::free, State::changing)) {
        return false;
    }
    sink_ = std::move(sink);
    state_.store(State::open);
    return true;
}

void qz_log_reader::close() {
    for (;;) {
        const State state = state_.load();
        if (state == State::open && change(State::open, State::changing)) {
            release();
            return;
        }
        if (state != State::open &&
            (state != State::adding || change(State::adding, State::closedWhileAdding))) {
            return;
        }
    }
}

void qz_log_reader::add(std::span<const core::LogRecord* const> records) {
    // The load spares the exchange if nobody reads.
    if (state_.load(std::memory_order_relaxed) != State::open ||
        !change(State::open, State::adding)) {
        return;
    }
    sink_->add(records);
    if (!change(State::adding, State::open)) {
        release();
    }
}

void qz_log_reader::release() {
    sink_.reset();
    state_.store(State::free);
}
