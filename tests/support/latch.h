// Replaces std::latch. If the C++ library cannot use a futex, as with mingw-w64, its atomics notify
// without the lock under which other threads decide to wait, and now and then a thread sleeps for
// ever.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

class Latch {
public:
    explicit Latch(std::ptrdiff_t expected) : left_(expected) {}

    // Notifies with the lock held, because a waiting thread may destroy the latch right afterwards.
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
