// std::latch by other means: where the C++ library has no futex to build on, as with mingw-w64, its
// atomics notify without the lock under which others decide to wait, and a thread sleeps for ever
// now and then.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

class Latch {
public:
    explicit Latch(std::ptrdiff_t expected) : left_(expected) {}

    // The last one notifies with the lock held: whoever waits may destroy the latch right after.
    void count_down() {
        const std::lock_guard lock(mutex_);
        if (--left_ == 0) {
            reached_.notify_all();
        }
    }

    void wait() {
        std::unique_lock lock(mutex_);
        reached_.wait(lock, [this] { return left_ == 0; });
    }

    void arrive_and_wait() {
        count_down();
        wait();
    }

private:
    std::mutex mutex_;
    std::condition_variable reached_;
    std::ptrdiff_t left_;
};
