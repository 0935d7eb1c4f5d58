// Loads and unloads the library as a host of plug-ins does, or ends in the middle of calls or of
// tasks: unload_probe <way> <library> <plug-in> [<number>]
// The number varies the moment of the end. Ways that begin with "tasks_" need no plug-in.
#include "Tasks/TaskManager.h"
#include "support/comma_locale.h"
#include "support/footprint.h"
#include "support/loaded_library.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>

namespace {

using namespace std::chrono_literals;

using LogStart = int (*)(const char*, const char*);
using Log = void (*)(const char*, unsigned int, const char*);
using Query = void (*)(void*);

template<class Function>
Function find(Library library, const char* name) {
    const auto found = reinterpret_cast<Function>(::find(library, name));
    if (found == nullptr) {
        std::fprintf(stderr, "no %s\n", name);
        std::exit(2);
    }
    return found;
}

template<class Function>
void find(Library library, const char* name, Function& function) {
    function = find<Function>(library, name);
}

Library loadOrEnd(const char* path) {
    const Library library = load(path);
    if (library == nullptr) {
        std::fprintf(stderr, "cannot load %s\n", path);
        std::exit(2);
    }
    return library;
}

bool loadOnce(const char* path) {
    return unload(loadOrEnd(path));
}

bool lineWasWritten() {
    std::ifstream file("unload.log");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    return text.find("the only line") != std::string::npos;
}

bool loadWithLog(const char* path) {
    const Library library = loadOrEnd(path);
    if (find<LogStart>(library, "qz_log_start")(".", "unload") != 0) {
        return false;
    }
    find<Log>(library, "qz_log")("M", 0x40, "the only line");
    return unload(library) && lineWasWritten();
}

bool usePlugIn(const char* path) {
    const Library plugIn = loadOrEnd(path);
    find<void (*)()>(plugIn, "useOnce")();
    return unload(plugIn);
}

bool loadAgainAndAgain(const char* library, const char* plugIn, int times) {
    for (int i = 0; i < times; ++i) {
        if (!loadOnce(library) || (i % 50 == 0 && (!loadWithLog(library) || !usePlugIn(plugIn)))) {
            std::fprintf(stderr, "failed at load %d\n", i);
            return false;
        }
    }
    return true;
}

// The first loads are not counted: what they leave belongs to the system and the libraries below.
bool leavesNothing(const char* library, const char* plugIn) {
    constexpr Footprint kSome{20'000, 20, 20};
    if (!loadAgainAndAgain(library, plugIn, 100)) {
        return false;
    }
    const Footprint before = footprint();
    if (!loadAgainAndAgain(library, plugIn, 1000)) {
        return false;
    }
    const Footprint after = footprint();
    bool isNothing = true;
    for (std::size_t i = 0; i < kSome.size(); ++i) {
        std::fprintf(stderr, "before %zu, after %zu\n", before[i], after[i]);
        isNothing = isNothing && after[i] <= before[i] + kSome[i];
    }
    return isNothing;
}

std::atomic<int> queriesBegun{0};
std::atomic<bool> queriesMayEnd{false};

// Adds three queries, and returns when the first one runs.
Library runQueries(const char* plugIn) {
    const Query query = [](void*) {
        for (++queriesBegun; !queriesMayEnd;) {
            std::this_thread::sleep_for(1ms);
        }
    };
    const Library loaded = loadOrEnd(plugIn);
    const auto addQuery = find<void (*)(Query)>(loaded, "addQuery");
    for (int i = 0; i < 3; ++i) {
        addQuery(query);
    }
    while (queriesBegun == 0) {
        std::this_thread::sleep_for(1ms);
    }
    return loaded;
}

// The thread cannot end, so it keeps the library loaded and goes on.
bool unloadsUnderQueries(const char* library, const char* plugIn) {
    if (!unload(runQueries(plugIn)) || !loadOnce(library)) {
        return false;
    }
    queriesMayEnd = true;
    for (int i = 0; i < 10'000 && queriesBegun != 3; ++i) {
        std::this_thread::sleep_for(1ms);
    }
    return queriesBegun == 3;
}

// In a process whose locale has a decimal comma.
int setsThePoint(const char* library) {
    constexpr int kSkipped = 77;
    const qz::test::CommaLocale locale(std::filesystem::current_path());
    if (!locale.isThere()) {
        return kSkipped;
    }
    loadOrEnd(library);
    return locale.isThere() ? 1 : 0;
}

struct Tasks {
    decltype(&QZ_add_task) addTask;
    decltype(&QZ_create_serial_queue) createQueue;
    decltype(&QZ_add_serial_queue_task) addSerial;
    decltype(&QZ_add_main_thread_task) addMain;
    decltype(&QZ_shutdown_tasks) shutDown;
};

constinit Tasks tasks{};
constinit std::atomic<int> tasksDone{0};

void runTask(void* longer) {
    if (longer != nullptr) {
        std::this_thread::sleep_for(2ms);
    }
    ++tasksDone;
}

void runForEver(void*) {
    for (;;) {
        std::this_thread::sleep_for(1ms);
    }
}

// Keeps the queue busy for ever.
void addItselfAgain(void* queue) {
    tasks.addSerial(*static_cast<std::size_t*>(queue), queue, addItselfAgain);
}

// Adds tasks as fast as they are run.
void addForEver() {
    constexpr int kMostWaiting = 500;
    for (int i = 0;; ++i) {
        tasks.addTask(i % 100 == 0 ? &tasksDone : nullptr, runTask);
        while (i - tasksDone > kMostWaiting) {
            std::this_thread::sleep_for(1ms);
        }
    }
}

void keepTasksBusy() {
    static std::array<std::size_t, 4> queues{};
    for (std::size_t i = 0; i < queues.size(); ++i) {
        queues[i] = tasks.createQueue(std::to_string(i).c_str());
        tasks.addSerial(queues[i], &queues[i], addItselfAgain);
        tasks.addMain(nullptr, runTask);
    }
    std::thread(addForEver).detach();
}

int endWhileTasksRun(const char* path, std::string_view way, int number) {
    const Library library = loadOrEnd(path);
    find(library, "QZ_add_task", tasks.addTask);
    find(library, "QZ_create_serial_queue", tasks.createQueue);
    find(library, "QZ_add_serial_queue_task", tasks.addSerial);
    find(library, "QZ_add_main_thread_task", tasks.addMain);
    find(library, "QZ_shutdown_tasks", tasks.shutDown);
    if (way == "tasks_exit_while_running") {
        tasks.addTask(nullptr, runForEver);
    }
    keepTasksBusy();
    std::this_thread::sleep_for(std::chrono::microseconds(number * 50 % 3000));
    if (way == "tasks_exit_from_task") {
        tasks.addTask(nullptr, [](void*) { std::exit(0); });
        std::this_thread::sleep_for(20s);
        return 3;
    }
    if (way.starts_with("tasks_shutdown") && tasks.shutDown(20.0) != 1) {
        return 4;
    }
    return way.ends_with("unload") && !unload(library) ? 5 : 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    const std::string_view way = argv[1];
    const int number = std::atoi(argv[argc - 1]);
    if (way.starts_with("tasks_")) {
        return endWhileTasksRun(argv[2], way, number);
    }
    if (way == "unload") {
        return leavesNothing(argv[2], argv[3]) ? 0 : 1;
    }
    if (way == "unload_under_queries") {
        return unloadsUnderQueries(argv[2], argv[3]) ? 0 : 1;
    }
    if (way == "exit_under_queries") {
        runQueries(argv[3]);
        return 0;
    }
    if (way == "locale") {
        return setsThePoint(argv[2]);
    }
    find<void (*)()>(loadOrEnd(argv[3]), "useForEver")();
    std::this_thread::sleep_for(std::chrono::microseconds(number * 500));
    if (way == "exit_from_thread") {
        std::thread([] { std::exit(0); }).join();
    }
    std::exit(0);
}
