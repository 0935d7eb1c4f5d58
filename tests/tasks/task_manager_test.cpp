#include "Tasks/TaskManager.h"
#include "support/latch.h"
#include "support/test.h"

#include <deque>

namespace {

using Closure = std::function<void()>;

void runOnce(void* closure) {
    const std::unique_ptr<Closure> owned(static_cast<Closure*>(closure));
    (*owned)();
}

void addTask(Closure closure) {
    QZ_add_task(new Closure(std::move(closure)), runOnce);
}

void addSerial(size_t queue, Closure closure) {
    QZ_add_serial_queue_task(queue, new Closure(std::move(closure)), runOnce);
}

void addMain(Closure closure) {
    QZ_add_main_thread_task(new Closure(std::move(closure)), runOnce);
}

void count(void* counter) {
    static_cast<std::atomic<int>*>(counter)->fetch_add(1);
}

// Ends the workers before a test's own objects are destroyed.
struct TaskManager : testing::Test {
    ~TaskManager() override { EXPECT_EQ(QZ_shutdown_tasks(10.0), 1); }
};

TEST_F(TaskManager, RunsEveryTaskOnceWhoeverAddsIt) {
    constexpr int kAdders = 4, kTasks = 20000;
    std::atomic<int> done{0};
    inThreads(kAdders, [&](int) {
        for (int task = 0; task < kTasks; ++task) {
            QZ_add_task(&done, count);
        }
    });
    while (done < kAdders * kTasks) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(QZ_shutdown_tasks(10.0), 1);
    EXPECT_EQ(done, kAdders * kTasks);
}

// Neither of two tasks may keep the other waiting, whatever the workers did before.
TEST_F(TaskManager, RunsTwoTasksThatWaitForEachOther) {
    for (int round = 0; round < 500; ++round) {
        Latch meeting(2), done(2);
        const auto meet = [&] {
            meeting.arrive_and_wait();
            done.count_down();
        };
        addTask(meet);
        if (round % 3 == 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(round % 100));
        }
        round % 2 == 0 ? addTask(meet) : addSerial(QZ_create_serial_queue("meeting"), meet);
        done.wait();
    }
}

TEST_F(TaskManager, NumbersQueuesByName) {
    QZ_wait_serial_queue(0); // there is no such queue yet: nothing happens
    QZ_clear_serial_queue(~size_t{0}, 0);
    EXPECT_EQ(QZ_create_serial_queue("a"), 0U);
    EXPECT_EQ(QZ_create_serial_queue("A"), 1U);
    EXPECT_EQ(QZ_create_serial_queue("a"), 0U);
    EXPECT_EQ(QZ_create_serial_queue(nullptr), QZ_create_serial_queue(""));

    std::array<std::array<size_t, 100>, 4> found{};
    inThreads(4, [&](size_t thread) {
        for (size_t i = 0; i < 100; ++i) {
            found[thread][i] = QZ_create_serial_queue(std::to_string(i).c_str());
        }
    });
    for (const auto& others : found) {
        EXPECT_EQ(others, found[0]);
    }
    EXPECT_EQ(QZ_create_serial_queue("new"), 103U); // after "a", "A", "" and these
}

// Only the queue uses its counters, without any synchronisation. The pauses let the queues run
// empty again and again: at that moment a callback could be lost.
TEST_F(TaskManager, SerialCallbacksRunOneByOneInOrderAndNoneIsLost) {
    constexpr int kAdders = 2, kEach = 20000;
    struct Queue {
        size_t index;
        std::array<int, kAdders> next{};
        bool isBroken = false;
    } queues[] = {{QZ_create_serial_queue("first")}, {QZ_create_serial_queue("second")}};
    inThreads(kAdders, [&](size_t adder) {
        for (int i = 0; i < kEach; ++i) {
            for (Queue& queue : queues) {
                addSerial(queue.index, [&queue, adder, i] {
                    queue.isBroken |= queue.next[adder] != i;
                    ++queue.next[adder];
                });
            }
            if (i % 16 == 0) {
                std::this_thread::yield();
            }
        }
    });
    for (const Queue& queue : queues) {
        QZ_wait_serial_queue(queue.index);
        EXPECT_EQ(queue.next, (std::array{kEach, kEach}));
        EXPECT_FALSE(queue.isBroken);
    }
}

TEST_F(TaskManager, QueuesRunWhileAllWorkersWaitForThem) {
    const int workers = std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
    const size_t outer = QZ_create_serial_queue("outer"), inner = QZ_create_serial_queue("inner");
    std::atomic<int> ran{0};
    Latch meeting(workers), done(workers);
    for (int i = 0; i < workers; ++i) {
        addTask([&] {
            meeting.arrive_and_wait();
            addSerial(outer, [&] {
                QZ_add_serial_queue_task(inner, &ran, count);
                QZ_wait_serial_queue(inner);
            });
            QZ_wait_serial_queue(outer);
            done.count_down();
        });
    }
    done.wait();
    EXPECT_EQ(ran, workers);
}

TEST_F(TaskManager, ClearDiscardsWhatWaitsAndNothingElse) {
    const size_t queue = QZ_create_serial_queue("cleared");
    for (int alreadyTaken : {0, 1}) { // callbacks that the turn has run before the clearing
        std::atomic<int> done{0};
        Latch added(1), begun(1), cleared(1);
        for (int i = 0; i < alreadyTaken; ++i) {
            addSerial(queue, [&] { added.wait(); });
        }
        addSerial(queue, [&] {
            begun.count_down();
            cleared.wait();
            ++done;
        });
        for (int i = 0; i < 100; ++i) {
            QZ_add_serial_queue_task(queue, &done, count);
        }
        added.count_down();
        begun.wait();
        QZ_clear_serial_queue(queue, 1);
        QZ_wait_all_serial_queues(); // the one that is running does not count
        EXPECT_EQ(done, 0);
        cleared.count_down();
        QZ_wait_serial_queue(queue);
        EXPECT_EQ(done, 1);
        QZ_add_serial_queue_task(queue, &done, count);
        QZ_wait_serial_queue(queue);
        EXPECT_EQ(done, 2);
    }
}

TEST_F(TaskManager, MainThreadTasksKeepToTheBudget) {
    std::vector<int> ran;
    for (int i = 0; i < 5; ++i) {
        addMain([&ran, i] {
            ran.push_back(i);
            std::this_thread::sleep_for(i == 3 ? 20ms : 0ms);
        });
    }
    QZ_make_main_thread_task(0.0);
    EXPECT_EQ(ran.size(), 1U);
    QZ_make_main_thread_task(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(ran.size(), 2U);
    QZ_make_main_thread_task(0.02);
    EXPECT_EQ(ran.size(), 4U);
    QZ_make_main_thread_task(1000.0);
    QZ_make_main_thread_task(1000.0);
    EXPECT_EQ(ran, (std::vector{0, 1, 2, 3, 4}));
}

TEST_F(TaskManager, WaitingForAllQueuesRunsWhatTheyPostToTheMainThread) {
    const auto mainThread = std::this_thread::get_id();
    std::atomic<int> answered{0};
    const auto ask = [&] {
        Latch answer(1);
        addMain([&] {
            answered += std::this_thread::get_id() == mainThread ? 1 : 0;
            answer.count_down();
        });
        answer.wait();
    };
    const size_t queue = QZ_create_serial_queue("asking");
    for (int i = 0; i < 3; ++i) {
        addSerial(queue, ask);
    }
    addSerial(queue, [] {});
    QZ_wait_all_serial_queues();
    EXPECT_EQ(answered, 3);
}

// There are more queues than workers, and no queue is ever empty.
TEST_F(TaskManager, BusyQueuesLetOthersIn) {
    struct Endless {
        explicit Endless(size_t queue) : index(queue) {}

        size_t index;
        std::atomic<int> runs{0};

        static void run(void* given) {
            auto& self = *static_cast<Endless*>(given);
            ++self.runs;
            QZ_add_serial_queue_task(self.index, given, run);
        }
    };
    static std::deque<Endless> queues; // some still run when the test ends
    for (unsigned i = 0; i < 4 * std::max(2U, std::thread::hardware_concurrency()); ++i) {
        Endless& queue = queues.emplace_back(QZ_create_serial_queue(std::to_string(i).c_str()));
        QZ_add_serial_queue_task(queue.index, &queue, Endless::run);
        QZ_add_serial_queue_task(queue.index, &queue, Endless::run); // so that one always waits
    }
    Latch independent(1);
    addTask([&] { independent.count_down(); });
    independent.wait();
    for (const Endless& queue : queues) {
        while (queue.runs < 1000) {
            std::this_thread::sleep_for(1ms);
        }
    }
}

TEST_F(TaskManager, ShutDownEndsEverything) {
    std::atomic<int> done{0}, result{-1};
    Latch begun(1), end(1);
    const size_t queue = QZ_create_serial_queue("ended");
    addSerial(queue, [&] {
        result = QZ_shutdown_tasks(10.0); // waits for nothing
        begun.count_down();
        end.wait();
    });
    QZ_add_serial_queue_task(queue, &done, count);
    QZ_add_main_thread_task(&done, count);
    begun.wait();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(QZ_shutdown_tasks(0.01), 0);
    end.count_down();
    EXPECT_EQ(QZ_shutdown_tasks(10.0), 1);

    QZ_add_task(&done, count);
    QZ_add_serial_queue_task(queue, &done, count);
    QZ_add_main_thread_task(&done, count);
    QZ_make_main_thread_task(1.0);
    QZ_wait_serial_queue(queue);
    QZ_wait_all_serial_queues();
    EXPECT_EQ(done, 0);
}

} // namespace
