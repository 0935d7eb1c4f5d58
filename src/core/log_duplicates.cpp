#include "core/log_duplicates.h"

#include "core/log_record.h"
#include "platform/cut_text.h"

#include <cstring>
#include <mutex>
#include <utility>

namespace core {

LogDuplicates::Verdict LogDuplicates::check(const char* message) {
    const std::lock_guard lock(lock_);
    return compare(message);
}

void LogDuplicates::noteIfFree(const char* message) {
    const std::unique_lock lock(lock_, std::try_to_lock);
    if (lock) {
        compare(message);
    }
}

LogDuplicates::Verdict LogDuplicates::compare(const char* message) {
    if (std::strcmp(message, last_) == 0) {
        ++count_;
        return {true, 0};
    }
    platform::copyCut(last_, message);
    return {false, std::exchange(count_, 0)};
}

} // namespace core
