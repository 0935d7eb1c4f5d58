// Keeps a message from being written again and again.
#pragma once

#include "core/spin.h"

#include <cstddef>

namespace core {

// Compares each message's text with the one before it. The writer thread shares this state with
// callers whose messages cannot be queued. The writer may wait while a caller compares two texts; a
// caller never waits for anybody.
class LogDuplicates {
public:
    struct Verdict {
        bool isDuplicate;
        unsigned int skipped; // if the text differs: how often the one before it was skipped
    };

    // For the writer thread.
    Verdict check(const char* message);

    // For callers: compares the message if nobody else is comparing, else ignores it.
    void noteIfFree(const char* message);

private:
    Verdict compare(const char* message);

    static constexpr std::size_t kSize = 2048;

    SpinLock lock_;
    unsigned int count_ = 0;
    char last_[kSize] = "";
};

} // namespace core
