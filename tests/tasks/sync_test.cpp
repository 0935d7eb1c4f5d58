#include "Tasks/Sync.h"
#include "support/test.h"

#include <ctime>

namespace {

// Every 256th lock shares a line of sleeping threads. Now and then an owner sleeps, so that the
// other threads sleep, too.
TEST(Futex, LetsOneThreadInAtATime) {
    constexpr int kThreads = 6, kRounds = 3000;
    std::vector<Sync::Futex> futexes(513);
    int counts[3] = {};
    inThreads(kThreads, [&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            const auto choice = static_cast<std::size_t>(thread + round) % 3;
            Sync::Futex& futex = futexes[choice * 256];
            futex.lock();
            futex.lock();
            ++counts[choice];
            futex.unlock();
            if (round % 100 == thread) {
                std::this_thread::sleep_for(200us);
            }
            ++counts[choice];
            futex.unlock();
        }
    });
    EXPECT_EQ(counts[0] + counts[1] + counts[2], kThreads * kRounds * 2);
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
    std::this_thread::sleep_for(30ms);
    released = true;
    futex.unlock();
}

// One thread releases the lock and takes it again at once. All threads hold it for longer than the
// time after which it is handed over, so the sleeping threads get it before the first one gets it
// again. With luck they would get an unfair lock soon, too, but not in every round.
TEST(Futex, LetsEverybodyHaveATurnAndSleepUntilThen) {
    constexpr int kRounds = 10, kThreads = 16;
    constexpr auto kHold = 2ms;
    constexpr int kMostTurns = 4 * kRounds; // a fair lock takes one a round; the rest is reserve
    int turns = 0;
    for (int round = 0; round < kRounds; ++round) {
        Sync::Futex futex;
        std::atomic<int> starting{kThreads}, waiting{kThreads};
        futex.lock();
        std::jthread others([&] {
            inThreads(kThreads, [&](int) {
                --starting;
                futex.lock();
                --waiting;
                std::this_thread::sleep_for(kHold);
                futex.unlock();
            });
        });
        while (starting != 0) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(100ms);
#ifndef _WIN32 // there clock() does not give processor time
        if (round == 0) {
            const std::clock_t begin = std::clock();
            std::this_thread::sleep_for(500ms);
            EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 20) << "of those that wait";
        }
#endif
        for (; waiting != 0 && turns < kMostTurns; ++turns) {
            std::this_thread::sleep_for(kHold);
            futex.unlock();
            futex.lock();
        }
        futex.unlock();
    }
    EXPECT_LT(turns, kMostTurns);
}

#ifndef _WIN32
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
    std::this_thread::sleep_for(50ms);
    pthread_cancel(native);
    std::this_thread::sleep_for(50ms);
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
