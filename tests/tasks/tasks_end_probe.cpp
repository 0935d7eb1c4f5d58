// Ends in one of several ways while tasks run: tasks_end_probe <library> <way> <number>
// Loads the library as a host of plug-ins does, so that it can also be unloaded. The number varies
// the moment of the end.
#include "Tasks/TaskManager.h"
#include "support/loaded_library.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

namespace {

using namespace std::chrono_literals;

struct Tasks {
    decltype(&QZ_add_task) addTask;
    decltype(&QZ_create_serial_queue) createQueue;
    decltype(&QZ_add_serial_queue_task) addSerial;
    decltype(&QZ_add_main_thread_task) addMain;
    decltype(&QZ_shutdown_tasks) shutDown;
};

constinit Tasks tasks{};
constinit std::atomic<int> done{0};

void run(void* longer) {
    if (longer != nullptr) {
        std::this_thread::sleep_for(2ms);
    }
    ++done;
}

// Keeps the queue busy for ever.
void addItselfAgain(void* queue) {
    tasks.addSerial(*static_cast<std::size_t*>(queue), queue, addItselfAgain);
}

// Adds tasks as fast as they are run.
void addForEver() {
    constexpr int kMostWaiting = 500;
    for (int i = 0;; ++i) {
        tasks.addTask(i % 100 == 0 ? &done : nullptr, run);
        while (i - done > kMostWaiting) {
            std::this_thread::sleep_for(1ms);
        }
    }
}

void keepBusy() {
    static std::array<std::size_t, 4> queues{};
    for (std::size_t i = 0; i < queues.size(); ++i) {
        queues[i] = tasks.createQueue(std::to_string(i).c_str());
        tasks.addSerial(queues[i], &queues[i], addItselfAgain);
        tasks.addMain(nullptr, run);
    }
    std::thread(addForEver).detach();
}

template<class Function>
bool find(Library library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::find(library, name));
    return function != nullptr;
}

bool findTasks(Library library) {
    return find(library, "QZ_add_task", tasks.addTask) &&
           find(library, "QZ_create_serial_queue", tasks.createQueue) &&
           find(library, "QZ_add_serial_queue_task", tasks.addSerial) &&
           find(library, "QZ_add_main_thread_task", tasks.addMain) &&
           find(library, "QZ_shutdown_tasks", tasks.shutDown);
}

int end(Library library, std::string_view way) {
    if (way == "exit_from_task") {
        tasks.addTask(nullptr, [](void*) { std::exit(0); });
        std::this_thread::sleep_for(20s);
        return 3;
    }
    if (way.starts_with("shutdown") && tasks.shutDown(20.0) != 1) {
        return 4;
    }
    if (way.ends_with("unload") && !unload(library)) {
        return 5;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const Library library = argc == 4 ? load(argv[1]) : nullptr;
    if (library == nullptr || !findTasks(library)) {
        return 2;
    }
    const std::string_view way = argv[2];
    if (way == "exit_while_running") {
        tasks.addTask(nullptr, [](void*) {
            for (;;) {
                std::this_thread::sleep_for(1ms);
            }
        });
    }
    keepBusy();
    std::this_thread::sleep_for(std::chrono::microseconds(std::atoi(argv[3]) * 50 % 3000));
    return end(library, way);
}
