// A program that is watched. Logs each line "<level> <module> <message>" of its standard input, and
// publishes itself under the name it is given, with watches and frames of some milliseconds.
#include "Common/Profiler.h"
#include "Core/Log.h"
#include "Core/Watch.h"
#include "Util/Publish.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

QZ_LOG_ECHO_LEVELS(0);

namespace {

size_t printLevel(unsigned int, char* buffer, size_t size, void*) {
    return static_cast<size_t>(std::snprintf(buffer, size, "3 \033[2J of 7"));
}

bool runFrame(const char* name) {
    globalProfiler.startFrame();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    globalProfiler.endFrame();
    return qz_publish(name) == 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 || qz_log_start(nullptr, nullptr) != 0) {
        return 2;
    }
    QZ_watch_set("Level", printLevel, nullptr);
    QZ_watch_set("N\u00e4chste", printLevel, nullptr);
    globalProfiler.start();
    if (!runFrame(argv[1])) {
        return 3;
    }
    std::puts("ready");
    std::fflush(stdout);
    unsigned int level = 0;
    std::string module, message;
    while (std::cin >> std::hex >> level >> module && std::getline(std::cin >> std::ws, message)) {
        qz_log(module.c_str(), level, message.c_str());
        // Long enough for the writer thread to hand the line over.
        for (int frame = 0; frame < 20; ++frame) {
            runFrame(argv[1]);
        }
    }
    qz_log("M", QZ_LOG_INFO, "end of main");
    return 0;
}
