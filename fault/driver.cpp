#include "driver.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>

#include <pwd.h>
#include <unistd.h>

namespace {

bool disturbed = false;

void say(const char* verdict, const char* what) {
    const Aside aside;
    dprintf(STDOUT_FILENO, "%s: %s%s\n", verdict, what, disturbed ? "" : " (afterwards)");
}

bool judge(bool condition, const char* verdict, const char* what) {
    if (!condition) {
        say(verdict, what);
    }
    return condition;
}

void workOnce() {
    try {
        work();
    } catch (const std::exception& exception) {
        say("wrong", exception.what());
    }
}

void disturb() {
    disturbed = true;
    if (fault_begin != nullptr) {
        fault_begin();
    }
    workOnce();
    if (fault_end != nullptr) {
        fault_end();
    }
    disturbed = false;
}

auto countFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

void report() {
    fault_counts([](const char* kind, unsigned long count) {
        dprintf(STDOUT_FILENO, "count: %s %lu\n", kind, count);
    });
    dprintf(STDOUT_FILENO, "fired: %u\n", fault_fired());
}

} // namespace

void giveUp() {
    dprintf(STDOUT_FILENO, "done\n");
    _exit(0);
}

bool isDisturbed() {
    return disturbed;
}

bool step(bool worked, const char* what) {
    return judge(worked, disturbed ? "documented" : "wrong", what);
}

bool holds(bool condition, const char* what) {
    return judge(condition, "wrong", what);
}

bool whole(bool condition, const char* what) {
    return judge(condition, "torn", what);
}

bool counted(bool condition, const char* what) {
    return judge(condition, "lost", what);
}

std::string readFile(const std::filesystem::path& path) {
    const Aside aside;
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    const Aside aside;
    std::ofstream(path, std::ios::binary) << bytes;
}

int main() {
    getpwuid(getuid()); // PhysicsFS may call it, and the C library keeps memory for the result
    prepare();
    disturb();
    workOnce();
    if (fault_in_use != nullptr) {
        const fault_usage use = fault_in_use();
        dprintf(STDOUT_FILENO, "in use: bytes=%lld blocks=%lld mapped=%lld files=%td\n",
                static_cast<long long>(use.bytes), static_cast<long long>(use.blocks),
                static_cast<long long>(use.mapped), countFiles());
        report();
    }
    finish();
    dprintf(STDOUT_FILENO, "done\n");
}
