// How many threads are started, and what if they cannot be. Memory that runs out is the business of
// fault/tasks_fault.cpp.
#include "Core/Threads.h"
#include "Tasks/PathfinderThread.h"
#include "Tasks/Sync.h"
#include "Tasks/TaskManager.h"
#include "support/failing_threads.h"
#include "support/latch.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

// What oneTBB has when its start fails stays: it cannot be taken down then.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

namespace {

using namespace std::chrono_literals;
using qz::test::FailingThreads;

void count(void* counter) {
    static_cast<std::atomic<int>*>(counter)->fetch_add(1);
}

void meet(void* latch) {
    static_cast<Latch*>(latch)->arrive_and_wait();
}

bool reaches(const std::atomic<int>& counter, int value) {
    for (int i = 0; i < 5000 && counter < value; ++i) {
        std::this_thread::sleep_for(1ms);
    }
    return counter >= value;
}

std::ptrdiff_t threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(Workers, AreAsManyAsProcessorsButTwoAtLeast) {
    std::thread([] {}).join(); // with the first one a sanitizer starts one of its own
    const std::ptrdiff_t before = threads();
    QZ_create_serial_queue("the first call starts them");
    EXPECT_EQ(threads() - before, std::max(2U, std::thread::hardware_concurrency()));
}

class ThreadShortage : public testing::TestWithParam<int> {
protected:
    ThreadShortage() { qz::test::needOwnProcess(); } // tasks are shut down
};

// The first, the second and so on, of oneTBB's workers and then of those that take their place.
TEST_P(ThreadShortage, OneThreadThatCannotBeStartedStopsNoTask) {
    std::atomic<int> done{0};
    const size_t queue = QZ_create_serial_queue("short");
    {
        const FailingThreads failing(GetParam(), 1);
        QZ_add_task(&done, count);
        QZ_add_serial_queue_task(queue, &done, count);
    }
    for (int i = 0; i < 1000; ++i) {
        QZ_add_task(&done, count);
    }
    EXPECT_TRUE(reaches(done, 1002));
    Latch meeting(2); // neither keeps the other one waiting
    QZ_add_task(&meeting, meet);
    QZ_add_serial_queue_task(queue, &meeting, meet);
    QZ_wait_serial_queue(queue);
    EXPECT_EQ(QZ_shutdown_tasks(10.0), 1);
}

INSTANTIATE_TEST_SUITE_P(Tasks, ThreadShortage, testing::Range(0, 4));

TEST(Shortage, TasksWaitUntilThereAreThreads) {
    qz::test::LogCapture log;
    std::atomic<int> done{0};
    size_t queue = 0;
    {
        const FailingThreads failing(0, 1000000);
        queue = QZ_create_serial_queue("waiting");
        for (int i = 0; i < 3; ++i) {
            QZ_add_task(&done, count);
            QZ_add_serial_queue_task(queue, &done, count);
        }
        QZ_make_main_thread_task(0.0);
        EXPECT_EQ(done, 0);
    }
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"No thread can be started for tasks: they wait."}));
    QZ_wait_serial_queue(queue);
    EXPECT_TRUE(reaches(done, 6));
    EXPECT_EQ(QZ_shutdown_tasks(10.0), 1);
}

TEST(Shortage, ThreadsThatCannotBeStartedAreReported) {
    struct Once : Sync::Thread::Task {
        bool run(bool) override { return false; }
    } task;
    static std::atomic<int> done{0};
    Sync::Thread thread;
    {
        const FailingThreads failing(0, 1000000);
        EXPECT_EQ(QZ_thread_create([](void*) -> void* { return nullptr; }, nullptr, 0), nullptr);
        EXPECT_EQ(errno, ENOMEM);
        thread.start(&task);
        EXPECT_FALSE(thread.isRunning());
        PathfinderThread::instance()->addQuery(count, &done);
    }
    thread.start(&task);
    EXPECT_TRUE(thread.isRunning());
    PathfinderThread::instance()->addQuery(count, &done);
    EXPECT_TRUE(reaches(done, 2));
}

} // namespace
