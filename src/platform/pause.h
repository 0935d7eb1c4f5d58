// How a loop waits for another thread that needs nanoseconds. What comes then decides how long:
//
//   who                at first                      then
//   core::Spin         pauses, then yields           sleeps for moments: nobody would wake it
//   succeedsSoon       pauses, for about what        returns: the caller sleeps until somebody
//                      sleeping and waking take      wakes it, or does without
//   tasks::Workers     pauses, with yields between   gives its thread back: waking another for
//                      (lookAround)                  the next task takes longer
//   core::WakeSignal   yields (wait)                 naps, and later sleeps: its work can wait
#pragma once

#include "platform/compiler.h"

#include <algorithm>

#if defined(QZ_X64)
#    include <immintrin.h>
#endif

namespace platform {

// Tells the processor that the loop waits.
inline void pause() {
#if defined(QZ_X64)
    _mm_pause();
#endif
}

// Pauses between looks at a word that another thread changes. Each look takes the word's cache line
// away from that thread, so each pause is twice as long as the one before.
class Pauses {
public:
    Pauses(unsigned shortest, unsigned longest) : length_(shortest), longest_(longest) {}

    void pauseOnce() {
        for (unsigned i = 0; i < length_; ++i) {
            pause();
        }
        length_ = std::min(2 * length_, longest_);
    }

private:
    unsigned length_;
    unsigned longest_;
};

// Tries at once. Returns true as soon as `attempt` does, or false after about as long as it takes
// to sleep and be woken, some ten microseconds. Does not yield: if other programs keep the
// processor busy, that may take longer than to sleep.
template<class Attempt>
bool succeedsSoon(Attempt attempt) {
    constexpr int kPauses = 6;
    Pauses pauses(8, 256);
    bool isDone = attempt();
    for (int i = 0; i < kPauses && !isDone; ++i) {
        pauses.pauseOnce();
        isDone = attempt();
    }
    return isDone;
}

} // namespace platform
