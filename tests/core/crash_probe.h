// The parts of the probe that differ between the systems.
#pragma once

// Keeps the system from showing dialogs and from storing core dumps.
void makeQuiet();

// A way to die that only this system has.
extern "C" void dieInSystemWay();

// A host's own handler, which prints "other handler".
enum class OtherHandler {
    exits,       // with code 7
    returns,     // to the fault; exits the hundredth time
    returnsOnce, // the same, but installed for one call only, where the system has that
    stays,       // never returns in the parent of a fork; exits in the child
};
void installOtherHandler(OtherHandler kind);

// Replaces the present handler, and returns a function that puts it back.
using Restore = void (*)();
Restore replaceHandler();

// Calls function(argument) on a thread that the library does not know, with as small a stack for
// handlers as the system allows.
void runInForeignThread(void* (*function)(void*), void* argument);

// Opens files until the system refuses, if it has a limit.
void useUpDescriptors();

// Both call abort() with all signals blocked: abortBlocked makes the report meet a fault, and
// abortSignalled has another signal pending. For systems with signals.
void abortBlocked();
void abortSignalled();

// Cancels the calling thread, which ends when it next waits or writes. For systems where threads
// can be cancelled.
void cancelThisThread();

// Calls function(argument) in a thread and, while its fault is being reported, in a forked child.
// For systems that fork.
void crashInForkedChild(void* (*function)(void*), void* argument);
