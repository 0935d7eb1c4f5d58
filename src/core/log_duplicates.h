// Keeps a message from being written again and again.
#pragma once

#include "core/spin.h"

#include <cstddef>

namespace core {

// Compares each message's text with the one before it. The writer thread and the callers of a log
// that cannot queue share this state: the writer may wait for a caller, who holds it for the
// comparison of two texts only; a caller never waits for anybody.
class LogDuplicates {
public:
    struct Verdict {
        bool isDuplicate;
        unsigned int skipped; // for a text that differs: how often the one before it was skipped
    };

    // For the writer thread.
    Verdict check(const char* message);

    // For callers: takes part if nobody else is at it, else the message goes unnoticed.
    void noteIfFree(const char* message);

private:
    Verdict compare(const char* message);

    static constexpr std::size_t kSize = 2048;

    SpinLock lock_;
    unsigned int count_ = 0;
    char last_[kSize] = "";
};

} // namespace core
