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

TEST(Semaphores, WakeAWaitingThreadAndOrderMemory) {
    QZ_semaphore* const turns[] = {QZ_semaphore_create(1), QZ_semaphore_create(0)};
    int count = 0; // only the semaphores protect it
    inThreads(2, [&](int player) {
        for (int i = 0; i < 1000; ++i) {
            QZ_semaphore_wait(turns[player]);
            ++count;
            QZ_semaphore_signal(turns[1 - player]);
        }
    });
    EXPECT_EQ(count, 2000);
    std::ranges::for_each(turns, QZ_semaphore_destroy);
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
