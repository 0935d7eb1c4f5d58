// Tasks: each added task runs once, or a line of the log says that it will not.
#include "driver.h"

#include "Tasks/TaskManager.h"

#include <atomic>

#include <unistd.h>

namespace {

constexpr int kTasks = 12;

std::atomic<int> ran{0};

void count(void*) {
    ++ran;
}

int errorLines() {
    const Aside aside;
    int lines = 0;
    const std::string log = readFile("home/errors");
    for (std::size_t at = 0; (at = log.find(" ERROR ", at)) != std::string::npos; ++at) {
        ++lines;
    }
    return lines;
}

// Waits for serial and independent tasks, and runs main-thread tasks.
void await(int added, int linesBefore) {
    for (int i = 0; i < 1000 && ran < added; ++i) {
        QZ_make_main_thread_task(1);
        const Aside aside;
        usleep(1000);
        if (ran + errorLines() - linesBefore >= added && i > 20) {
            break;
        }
    }
    const int reported = errorLines() - linesBefore;
    counted(ran <= added && ran + reported >= added, "tasks that nobody reported");
    step(reported == 0, "adding tasks");
}

std::atomic<int> met{0};

// Waits for the other task, for two seconds at most.
void meet(void*) {
    ++met;
    for (int i = 0; i < 2000 && met < 2; ++i) {
        usleep(1000);
    }
}

} // namespace

void prepare() {}

void work() {
    ran = 0;
    const int lines = errorLines();
    const std::size_t queue = QZ_create_serial_queue("queue");
    const bool hasQueue = queue != ~std::size_t{0}; // else a line says so, and adding does nothing
    for (int i = 0; i < kTasks; ++i) {
        QZ_add_task(nullptr, count);
        QZ_add_serial_queue_task(queue, nullptr, count);
        QZ_add_main_thread_task(nullptr, count);
    }
    QZ_wait_serial_queue(queue);
    await((hasQueue ? 3 : 2) * kTasks, lines);
    QZ_wait_all_serial_queues();
}

// Workers that could not be started are replaced, so that two tasks can run at once.
void finish() {
    const std::size_t queue = QZ_create_serial_queue("meeting");
    QZ_add_task(nullptr, meet);
    QZ_add_serial_queue_task(queue, nullptr, meet);
    QZ_wait_serial_queue(queue);
    holds(met == 2, "tasks that wait for each other");
    holds(QZ_shutdown_tasks(2) == 1, "QZ_shutdown_tasks");
}
