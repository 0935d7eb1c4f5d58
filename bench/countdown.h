// Waits for tasks that other threads run.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <semaphore>
#include <thread>

namespace bench {

// A counter that one thread waits for until others have counted it down.
class Countdown {
public:
    explicit Countdown(std::size_t things) : left_(things) {}

    void done() {
        if (left_.fetch_sub(1) == 1) {
            all_.release();
        }
    }
    void wait() { all_.acquire(); }

private:
    alignas(64) std::atomic<std::size_t> left_;
    std::binary_semaphore all_{0};
};

// The callbacks of a serial queue run one after another, so their counter need not be atomic.
struct alignas(64) Stage {
    std::size_t left;
    Countdown* all;

    void done() {
        if (--left == 0) {
            all->done();
        }
    }
};

inline unsigned workers() {
    return std::max(2U, std::thread::hardware_concurrency());
}

} // namespace bench
