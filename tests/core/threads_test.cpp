#include "Core/Clock.h"
#include "Core/Threads.h"
#include "support/test.h"

#include <fstream>

namespace {

// The number of mappings of memory. 0 on Windows, where nothing is mapped for a thread.
std::ptrdiff_t mappings() {
    std::ifstream lines("/proc/self/maps");
    return std::count(std::istreambuf_iterator<char>(lines), {}, '\n');
}

TEST(Threads, AreAdoptedUntilTheyEnd) {
    const auto adopt = [] { EXPECT_TRUE(QZ_thread_adopt() && QZ_thread_adopt()); };
    const auto runHundred = [](auto function) {
        for (int i = 0; i < 100; ++i) {
            std::thread(function).join();
        }
    };
    std::thread(adopt).join();
    runHundred([] {}); // so that the thread sanitizer has its memory for threads
    const std::ptrdiff_t before = mappings();
    runHundred(adopt);
    EXPECT_LT(mappings(), before + 50);
}

TEST(Semaphores, CountAndRefuseMoreThanTheMaximum) {
    QZ_semaphore* semaphore = QZ_semaphore_create(1);
    EXPECT_EQ(QZ_semaphore_trywait(semaphore), 1);
    EXPECT_EQ(QZ_semaphore_trywait(semaphore), 0);
    EXPECT_NE(QZ_semaphore_signal(semaphore), 0);
    EXPECT_EQ(QZ_semaphore_wait(semaphore), 0);
    QZ_semaphore_destroy(semaphore);

    QZ_semaphore* full = QZ_semaphore_create(0x7FFFFFFF);
    EXPECT_EQ(QZ_semaphore_signal(full), 0);
    QZ_semaphore_destroy(full);
    EXPECT_EQ(QZ_semaphore_create(-1), nullptr);
}

struct PingPong {
    QZ_semaphore* ping = QZ_semaphore_create(0);
    QZ_semaphore* pong = QZ_semaphore_create(0);
    int count = 0; // only the semaphores protect it
};

TEST(Semaphores, WakeAWaitingThreadAndOrderMemory) {
    PingPong game;
    QZ_thread* player = QZ_thread_create(
        [](void* argument) -> void* {
            auto* shared = static_cast<PingPong*>(argument);
            for (int i = 0; i < 1000; ++i) {
                QZ_semaphore_wait(shared->ping);
                ++shared->count;
                QZ_semaphore_signal(shared->pong);
            }
            return nullptr;
        },
        &game, 0);
    for (int i = 0; i < 1000; ++i) {
        ++game.count;
        QZ_semaphore_signal(game.ping);
        QZ_semaphore_wait(game.pong);
    }
    QZ_thread_wait(player);
    EXPECT_EQ(game.count, 2000);
    QZ_semaphore_destroy(game.ping);
    QZ_semaphore_destroy(game.pong);
}

TEST(Mutexes, AreTheOwnersToLockAgainAndNobodyElses) {
    QZ_mutex* mutex = QZ_mutex_create();
    QZ_mutex_lock(mutex);
    EXPECT_NE(QZ_mutex_trylock(mutex), 0);
    QZ_mutex_unlock(mutex);
    int acquired = -1;
    std::thread([&] { acquired = QZ_mutex_trylock(mutex); }).join();
    EXPECT_EQ(acquired, 0) << "one of two locks is still held";
    QZ_mutex_unlock(mutex);
    std::thread([&] {
        acquired = QZ_mutex_trylock(mutex);
        QZ_mutex_unlock(mutex);
    }).join();
    EXPECT_NE(acquired, 0);
    QZ_mutex_destroy(mutex);
}

TEST(Clock, CountsSecondsFromTheLoadOfTheLibrary) {
    using Reference = std::chrono::steady_clock;
    const auto outerStart = Reference::now();
    const double before = QZ_get_time();
    const auto innerStart = Reference::now();
    EXPECT_GT(before, 0.0);
    EXPECT_LT(before, 60.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const std::chrono::duration<double> inner = Reference::now() - innerStart;
    const double elapsed = QZ_get_time() - before;
    const std::chrono::duration<double> outer = Reference::now() - outerStart;
    EXPECT_GE(elapsed, inner.count() * 0.9) << "a clock of another rate";
    EXPECT_LE(elapsed, outer.count() * 1.1) << "a clock of another rate";
    EXPECT_GE(QZ_get_tick_rate(), 1000);
    const double ticks = static_cast<double>(QZ_get_ticks());
    EXPECT_LE(ticks / static_cast<double>(QZ_get_tick_rate()), QZ_get_time());
}

} // namespace
