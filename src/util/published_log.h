// The log in the memory in which a program publishes itself.
#pragma once

#include "Shm/RingBuffer.h"
#include "core/log_sink.h"
#include "platform/shared_memory.h"
#include "util/published_block.h"

#include <memory>
#include <span>

namespace util {

// The writer thread puts the messages there, independently of the thread that publishes the rest.
// So a program that hangs, or has crashed, still shows its last lines.
class PublishedLog final : public core::LogSink {
public:
    // The memory holds the block, whose ring is initialised. It stays until this object is gone.
    PublishedLog(std::shared_ptr<platform::SharedMemory> memory, PublishedBlock& block);

    void add(std::span<const core::LogRecord* const> records) override;

private:
    void add(const core::LogRecord& record);

    const std::shared_ptr<platform::SharedMemory> memory_;
    const int process_;
    CRingBuffer ring_;
};

} // namespace util
