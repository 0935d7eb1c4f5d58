// A driver is a fixed piece of work with one family, done twice in its own process: first with a
// fault, then without. For each call it states what the header promises, and the process prints
// each result as a line, which scripts/fault.py classifies.
#pragma once

#include "injector.h"

#include <cstdarg>
#include <cstddef>
#include <filesystem>
#include <string>

// ---- functions that a driver defines; calls fail only in `work`

void prepare(); // makes the files that the work needs
void work();    // called twice
void finish();  // checks what the work has left behind

// ---- functions that a driver calls

// Returns `worked`. The call may fail, as its header says, in the run with a fault; in the run
// without it must work.
bool step(bool worked, const char* what);

// Conditions that must always hold; they return the condition. If it is false: holds reports a
// wrong result, whole a file that is neither the old nor the new one, counted uncounted loss of
// data.
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

// Ends the process, if further results would mean nothing.
[[noreturn]] void giveUp();

// Whether this is the run with a fault.
bool isDisturbed();

// While one exists, calls of this thread do not fail and are not counted: for the driver's own
// calls.
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
