#include "log_ring.h"

#include "Core/Log.h"
#include "Shm/RingBuffer.h"

namespace {

constexpr unsigned long kSize = 256 * 1024;

// Other threads may log as fast as this one reads.
constexpr int kMostAtOnce = 512;

} // namespace

LogRing::LogRing(const std::string& name)
    : ring_(CRingMessageBuffer::OpenNew(("qz_log." + name).c_str(), kSize, nullptr)) {
    if (ring_ != nullptr && qz_log_hook_start() != 0) {
        ring_->Close(1);
        ring_ = nullptr;
    }
}

LogRing::~LogRing() {
    if (ring_ != nullptr) {
        pump();
        qz_log_hook_stop();
        ring_->Close(1);
    }
}

void LogRing::pump() {
    if (ring_ == nullptr) {
        return;
    }
    const qz_log_entry* entry = nullptr;
    // A reader that was stopped with the lock in its hands costs a second once, not for each line.
    for (int i = 0; i < kMostAtOnce && (entry = qz_log_hook_read()) != nullptr; ++i) {
        if (!publish(*entry)) {
            break;
        }
    }
}

bool LogRing::publish(const qz_log_entry& entry) {
    if (entry.lost != 0 && ring_->AddFormatMessage("%09.3f WARNING LOG: %u messages lost",
                                                   entry.time, entry.lost) == 0) {
        return false;
    }
    return ring_->AddFormatMessage("%09.3f %-7s %s: %s", entry.time, qz_log_level_name(entry.level),
                                   entry.module, entry.message) != 0;
}
