#include "Tasks/PathfinderThread.h"
#include "support/test.h"

namespace {

bool comesTrue(const std::atomic<unsigned>& count, unsigned value) {
    for (int i = 0; i < 5000 && count != value; ++i) {
        std::this_thread::sleep_for(1ms);
    }
    return count == value;
}

template<unsigned Factor, unsigned Term>
void change(void* number) {
    auto& value = *static_cast<std::atomic<unsigned>*>(number);
    value = value * Factor + Term;
}

TEST(PathfinderThread, RunsQueriesInTheOrderAdded) {
    static std::atomic<unsigned> numbers[2];
    inThreads(2, [](int thread) {
        for (int i = 0; i < 1000; ++i) {
            PathfinderThread::instance()->addQuery(change<3, 1>, &numbers[thread]);
            PathfinderThread::instance()->addQuery(change<5, 7>, &numbers[thread]);
        }
    });
    unsigned expected = 0;
    for (int i = 0; i < 1000; ++i) {
        expected = (expected * 3 + 1) * 5 + 7;
    }
    EXPECT_TRUE(comesTrue(numbers[0], expected) && comesTrue(numbers[1], expected));
}

// Adds each query alone, when the thread has just found nothing to do or has slept for a while.
TEST(PathfinderThread, LeavesNoQueryWaitingForTheNext) {
    static std::atomic<unsigned> done{0};
    PathfinderThread::instance()->addQuery(nullptr, nullptr);
    for (unsigned i = 1; i <= 500; ++i) {
        PathfinderThread::instance()->addQuery(change<1, 1>, &done);
        ASSERT_TRUE(comesTrue(done, i));
    }
}

} // namespace
