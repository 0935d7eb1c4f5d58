#include "Tasks/Sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

TEST(Futex, LetsOneThreadInAtATime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    Sync::Futex futex;
    int count = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                futex.lock();
                futex.lock();
                ++count;
                futex.unlock();
                ++count;
                futex.unlock();
            }
        });
    }
    threads.clear();
    EXPECT_EQ(count, kThreads * kRounds * 2);
}

TEST(Futex, TryLockWaitsWhateverItsTimeOut) {
    Sync::Futex futex;
    std::atomic<bool> released{false};
    futex.lock();
    std::jthread other([&] {
        EXPECT_TRUE(futex.try_lock(0));
        EXPECT_TRUE(released);
        futex.unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    released = true;
    futex.unlock();
}

} // namespace
