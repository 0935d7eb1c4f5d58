#include "core/log_duplicates.h"

#include "core/log_record.h"
#include "core/spin.h"

#include <cstring>
#include <utility>

namespace core {

LogDuplicates::Verdict LogDuplicates::check(const char* message) {
    for (Spin spin; busy_.test_and_set(std::memory_order_acquire);) {
        spin.turn();
    }
    const Verdict verdict = compare(message);
    busy_.clear(std::memory_order_release);
    return verdict;
}

void LogDuplicates::noteIfFree(const char* message) {
    if (!busy_.test_and_set(std::memory_order_acquire)) {
        compare(message);
        busy_.clear(std::memory_order_release);
    }
}

LogDuplicates::Verdict LogDuplicates::compare(const char* message) {
    if (std::strcmp(message, last_) == 0) {
        ++count_;
        return {true, 0};
    }
    copyCut(last_, message);
    return {false, std::exchange(count_, 0)};
}

} // namespace core
