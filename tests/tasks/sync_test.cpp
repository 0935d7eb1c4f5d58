#include "Tasks/Sync.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

TEST(Futex, LetsOneThreadInAtATime) {
    Sync::Futex futex;
    int count = 0;
    qz::test::inThreads(4, [&](int) {
        for (int round = 0; round < 20000; ++round) {
            futex.lock();
            futex.lock();
            ++count;
            futex.unlock();
            ++count;
            futex.unlock();
        }
    });
    EXPECT_EQ(count, 4 * 20000 * 2);
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
