#include "Tasks/Sync.h"
#include "support/test.h"

namespace {

// Runs that many passes, or for ever if the number is negative.
struct Passes : Sync::Thread::Task {
    explicit Passes(int count) : left(count) {}

    bool run(bool again) override {
        seen.push_back(again);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return left < 0 || --left > 0;
    }

    int left;
    std::vector<bool> seen; // is read after the thread has ended
};

TEST(Thread, RunsUntilTheTaskHasHadEnoughOrIsStopped) {
    Passes three(3), forEver(-1), many(20);
    {
        Sync::Thread thread;
        thread.start(&three);
        thread.start(&forEver); // ignored
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_TRUE(thread.isRunning()) << "nobody has waited for it yet";
        EXPECT_TRUE(thread.wait(-5));
        EXPECT_FALSE(thread.isRunning());

        thread.start(&forEver);
        EXPECT_FALSE(thread.wait(0));
        EXPECT_FALSE(thread.wait(5));
        thread.stop();
        EXPECT_TRUE(thread.wait(0));
        thread.start(&many); // the thread's destructor waits for it
    }
    EXPECT_EQ(three.seen, (std::vector<bool>{false, true, true}));
    EXPECT_FALSE(forEver.seen.empty());
    EXPECT_EQ(many.seen.size(), 20u);
}

} // namespace
