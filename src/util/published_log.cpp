#include "util/published_log.h"

#include "platform/cut_text.h"
#include "platform/thread.h"

#include <cstring>
#include <utility>

namespace util {

PublishedLog::PublishedLog(std::shared_ptr<platform::SharedMemory> memory, PublishedBlock& block)
    : memory_(std::move(memory)), process_(platform::processId()) {
    ring_.Open(block.log, sizeof block.log);
}

// A child that was forked before the log's start has a writer thread of its own, but the memory is
// its parent's.
void PublishedLog::add(std::span<const core::LogRecord* const> records) {
    if (process_ == platform::processId()) {
        core::forEachMessage(records, [this](const core::LogRecord& record) { add(record); });
    }
}

void PublishedLog::add(const core::LogRecord& record) {
    PublishedMessage message{record.time, record.level, record.lost, {}};
    static_assert(sizeof message.module == sizeof record.module);
    platform::copyCut(message.module, record.module);
    const auto length = static_cast<unsigned long>(std::strlen(record.message));
    if (ring_.PushStart(sizeof message + length) != 0) {
        ring_.PushData(reinterpret_cast<const char*>(&message), sizeof message);
        ring_.PushData(record.message, length);
        ring_.PushStop();
    }
}

} // namespace util
