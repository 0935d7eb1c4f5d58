// Counts the threads that are started. fault/tasks_fault.cpp tests what happens if they cannot be.
#include "Tasks/TaskManager.h"
#include "support/test.h"

namespace {

TEST(Workers, AreAsManyAsProcessorsButTwoAtLeast) {
    std::thread([] {}).join(); // with the first thread a sanitizer starts one of its own
    const std::ptrdiff_t before = countIn("/proc/self/task");
    QZ_create_serial_queue("the first call starts them");
    EXPECT_EQ(countIn("/proc/self/task") - before,
              std::max(2U, std::thread::hardware_concurrency()));
}

} // namespace
