// Waiting for tasks that others do.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <semaphore>
#include <thread>

namespace bench {

// Waited for until so many things have been done by others.
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

// A callback of a serial queue needs no atomic counter: that is what such queues are for.
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
