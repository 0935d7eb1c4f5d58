#include "crash_probe.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

void otherHandler(int) {
    static_cast<void>(write(STDOUT_FILENO, "other handler\n", 14));
    _exit(7);
}

} // namespace

void makeQuiet() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

// Behind the end of a mapped file.
void dieInSystemWay() {
    const int file = open("mapped", O_RDWR | O_CREAT | O_TRUNC, 0600);
    auto* bytes = static_cast<volatile char*>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    bytes[0] = 1;
}

void installOtherHandler() {
    struct sigaction action {};
    action.sa_handler = otherHandler;
    sigaction(SIGSEGV, &action, nullptr);
}
