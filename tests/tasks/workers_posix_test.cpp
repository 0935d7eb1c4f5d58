// Counts the threads that are started. fault/tasks_fault.cpp tests what happens if they cannot be.
#include "Tasks/Sync.h"
#include "Tasks/TaskManager.h"
#include "support/latch.h"
#include "support/test.h"

#include <oneapi/tbb/global_control.h>

#include <pthread.h>

namespace {

TEST(Workers, AreAsManyAsProcessorsButTwoAtLeast) {
    std::thread([] {}).join(); // with the first thread a sanitizer starts one of its own
    const std::ptrdiff_t before = countIn("/proc/self/task");
    QZ_create_serial_queue("the first call starts them");
    EXPECT_EQ(countIn("/proc/self/task") - before,
              std::max(2U, std::thread::hardware_concurrency()));
}

TEST(Workers, AreTwoAtLeastEvenIfTheHostLimitsOneTbb) {
    const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    static Latch meeting(2), done(2);
    const auto meet = [](void*) {
        meeting.arrive_and_wait();
        done.count_down();
    };
    QZ_add_task(nullptr, meet);
    QZ_add_task(nullptr, meet);
    done.wait();
    EXPECT_EQ(QZ_shutdown_tasks(10.0), 1);
}

TEST(SyncThread, EndsForWaitersIfItsTaskEndsIt) {
    struct Ending : Sync::Thread::Task {
        bool run(bool) override { pthread_exit(nullptr); }
    } task;
    Sync::Thread thread;
    thread.start(&task);
    EXPECT_TRUE(thread.wait(10000));
}

} // namespace
