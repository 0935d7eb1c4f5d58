#include "Tasks/Sync.h"
#include "support/test.h"

#include <ctime>

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

// One thread gives it up only to take it again, another wants it now and then.
TEST(Futex, LetsEverybodyHaveATurn) {
    using Clock = std::chrono::steady_clock;
    constexpr int kTurns = 200;
    Sync::Futex futex;
    std::jthread busy([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            futex.lock();
            for (const auto end = Clock::now() + std::chrono::microseconds(100);
                 Clock::now() < end;) {
            }
            futex.unlock();
        }
    });
    int turns = 0;
    for (const auto end = Clock::now() + std::chrono::seconds(10); turns < kTurns; ++turns) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        futex.lock();
        futex.unlock();
        ASSERT_LT(Clock::now(), end) << turns << " turns";
    }
}

#ifndef _WIN32 // whose clock() is not of processor time
TEST(Futex, TakesNoProcessorTimeWhileItIsWaitedFor) {
    constexpr int kThreads = 32;
    Sync::Futex futex;
    std::atomic<int> started{0};
    futex.lock();
    std::jthread waiting([&] {
        qz::test::inThreads(kThreads, [&](int) {
            ++started;
            futex.lock();
            futex.unlock();
        });
    });
    while (started != kThreads) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::clock_t begin = std::clock();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 20);
    futex.unlock();
}

TEST(Futex, IsObtainedByAThreadThatIsCancelledMeanwhile) {
    Sync::Futex futex;
    bool isObtained = false;
    futex.lock();
    std::thread other([&] {
        futex.lock();
        isObtained = true;
        futex.unlock();
    });
    const pthread_t native = other.native_handle();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    pthread_cancel(native);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    futex.unlock();
    other.join();
    EXPECT_TRUE(isObtained);
}
#endif

TEST(Futex, MayBeDestroyedByItsNextOwner) {
    for (int round = 0; round < 2000; ++round) {
        auto futex = std::make_unique<Sync::Futex>();
        futex->lock();
        std::jthread other([&] {
            futex->lock();
            futex->unlock();
            futex = nullptr;
        });
        if (round % 2 == 0) {
            std::this_thread::yield();
        }
        Sync::Futex* const own = futex.get();
        own->unlock();
    }
}

} // namespace
