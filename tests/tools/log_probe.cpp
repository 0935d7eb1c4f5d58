// A program with a log: logs what its standard input says, "<level> <module> <message>" a line, and
// publishes it under the name it was given.
#include "log_ring.h"

#include "Core/Clock.h"
#include "Core/Log.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

QZ_LOG_ECHO_LEVELS(0);

int main(int argc, char** argv) {
    if (argc != 2 || qz_log_start(nullptr, nullptr) != 0) {
        return 2;
    }
    LogRing ring(argv[1]);
    std::puts("ready");
    std::fflush(stdout);
    unsigned int level = 0;
    std::string module, message;
    while (std::cin >> std::hex >> level >> module && std::getline(std::cin >> std::ws, message)) {
        qz_log(module.c_str(), level, message.c_str());
        // A few frames, until the writer thread has handed it over.
        for (int frame = 0; frame < 20; ++frame) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            ring.pump();
        }
    }
    return 0;
}
