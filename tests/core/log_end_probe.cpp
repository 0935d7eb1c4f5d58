// Ends in one of several ways without stopping the log; log_end_test.cmake looks at what is left.
#include "Core/Environment.h"
#include "Core/Log.h"

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

void logForEver() {
    for (int i = 0;; ++i) {
        qz_log("BACKGROUND", QZ_LOG_TRACE, std::to_string(i).c_str());
        std::this_thread::yield();
    }
}

void readForEver() {
    for (qz_log_hook_start();;) {
        qz_log_hook_read();
    }
}

// The library outlives the host's static objects.
struct LateUser {
    ~LateUser() { qz_log("M", QZ_LOG_INFO, SYS_argc() > 1 ? SYS_bindir() : ""); }
} lateUser;

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || qz_log_start(".", argv[1]) != 0) {
        return 2;
    }
    if (argv[1] == std::string("exit_while_reading")) {
        std::thread(logForEver).detach();
        std::thread(readForEver).detach();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } else if (argv[1] == std::string("exit_while_logging")) {
        for (int i = 0; i < 3; ++i) {
            std::thread(logForEver).detach();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    } else {
        for (int i = 0; i < 200; ++i) {
            qz_log("M", QZ_LOG_INFO, ("line " + std::to_string(i)).c_str());
        }
    }
    std::exit(0);
}
