// Waiting for another thread to finish a few instructions.
#pragma once

#include "platform/thread.h"

#if defined(__x86_64__)
#    include <immintrin.h>
#endif

namespace core {

// Tells the processor that this is a waiting loop.
inline void relax() {
#if defined(__x86_64__)
    _mm_pause();
#endif
}

// One turn of a waiting loop. What is waited for takes nanoseconds, unless the thread that does it
// has lost its processor: then, after a while, spinning on only keeps it from coming back.
class Spin {
public:
    void turn() {
        if (++turns_ < kPatience) {
            relax();
        } else {
            platform::yieldThread();
        }
    }

private:
    static constexpr int kPatience = 2000;
    int turns_ = 0;
};

} // namespace core
