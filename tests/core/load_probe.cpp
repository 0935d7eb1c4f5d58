// Loads the library where there is hardly any address space left: load_probe <library>
// Whether it can be loaded is open; that the process goes on is not.
#include "support/address_space.h"
#include "support/loaded_library.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace {

[[noreturn]] void loadWithin(std::size_t left, const char* path) {
    qz::test::leaveAddressSpace(left);
    if (const Library library = load(path)) {
        unload(library);
    }
    _exit(0);
}

bool survives(std::size_t left, const char* path) {
    const pid_t child = fork();
    if (child == 0) {
        loadWithin(left, path);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (status != 0) {
        std::fprintf(stderr, "with %zu KiB left: status %#x\n", left / 1024, status);
    }
    return status == 0;
}

} // namespace

int main(int, char** argv) {
    constexpr std::size_t kStep = 128 * 1024;
    int failures = 0;
    for (std::size_t left = kStep; left <= 160 * kStep; left += kStep) {
        failures += survives(left, argv[1]) ? 0 : 1;
    }
    return failures == 0 ? 0 : 1;
}
