// How a loop waits for another thread that needs nanoseconds. What comes then decides how long:
//
//   waits for               at first                      then
//   a lock without wakers   pauses, then yields           sleeps for moments
//   a lock, or a moment     pauses, for about what        returns: the caller sleeps until
//   (succeedsSoon)          sleeping and waking take      somebody wakes it, or does without
//   the next task           pauses, with yields between   gives its thread back: waking another
//                                                         takes longer
//   work that can wait      yields                        naps, and later sleeps
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
