// A driver is a fixed piece of work over one family, done twice in a process of its own: first with
// a fault somewhere, then without. It says of each call what the header promises, and the process
// prints what came of it, one line each, for scripts/fault.py to judge.
#pragma once

#include "injector.h"

#include <cstdarg>
#include <cstddef>
#include <filesystem>
#include <string>

// ---- what a driver defines; `work` alone is interfered with

void prepare(); // files to begin with
void work();    // twice
void finish();  // looks at what is left behind

// ---- what it says

// True if the call worked. It may fail, as its header says, while calls fail on purpose, and works
// again afterwards.
bool step(bool worked, const char* what);

// Must hold in any case. Breaches are wrong results, files that are neither the old nor the new
// ones, and data that is gone without a count.
bool holds(bool condition, const char* what);
bool whole(bool condition, const char* what);
bool counted(bool condition, const char* what);

// A step that throws the stated exception when it fails.
template<class Exception, class Function>
bool stepOrThrow(const char* what, Function function) {
    try {
        function();
        return true;
    } catch (const Exception&) {
        return step(false, what);
    }
}

// Ends the process: what follows would not tell anything.
[[noreturn]] void giveUp();

// Whether this is the pass with a fault.
bool isDisturbed();

// The driver's own calls, which are not to fail, and are not counted.
class Aside {
public:
    Aside() { change(1); }
    ~Aside() { change(-1); }
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

private:
    static void change(int by) {
        if (fault_aside != nullptr) {
            fault_aside(by);
        }
    }
};

std::string readFile(const std::filesystem::path& path); // empty if there is none
void writeFile(const std::filesystem::path& path, const std::string& bytes);
