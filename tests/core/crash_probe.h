// The parts of the probe that differ between the systems.
#pragma once

#include <map>
#include <string>

using Function = void (*)();
using Functions = std::map<std::string, Function>;

// Dies in the way that the arguments name.
void die();

// Keeps the system from showing dialogs and from storing core dumps.
void makeQuiet();

// A way to die that only this system has.
extern "C" void dieInSystemWay();

// What only this system has: more ways to die, and what may be done before.
extern const Functions kSystemWays;
extern const Functions kSystemPreparations;

// A host's own handler, which prints "other handler".
enum class OtherHandler {
    exits,       // with code 7
    returns,     // to the fault; exits the hundredth time
    returnsOnce, // the same, but installed for one call only, where the system has that
    stays,       // never returns in the parent of a fork; exits in the child
};
void installOtherHandler(OtherHandler kind);

// Replaces the present handler, and returns a function that puts it back.
Function replaceHandler();

// In a thread that the library does not know, with as small a stack for handlers as the system
// allows.
void dieInForeignThread();
