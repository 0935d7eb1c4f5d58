// What the probe does that each system has its own calls for.
#pragma once

// Keeps the system from asking anybody, and from storing core dumps.
void makeQuiet();

// A way to die that only this system has.
extern "C" void dieInSystemWay();

// A handler as the host might have it, which says "other handler".
enum class OtherHandler {
    exits,       // with 7
    returns,     // to the fault; exits the hundredth time
    returnsOnce, // and is for one call only, where the system has that
    stays,       // keeps the thread, where the system forks
};
void installOtherHandler(OtherHandler kind);

// Puts another handler in the place of the present one, and returns what puts that back.
using Restore = void (*)();
Restore replaceHandler();

// Has function(argument) called by a thread that the library knows nothing of, with as little room
// for handlers as the system allows.
void runInForeignThread(void* (*function)(void*), void* argument);

// Opens files until the system refuses, where it does.
void useUpDescriptors();

// abort() with all signals blocked, of which the report meets a fault; or somebody has sent another
// one. For systems with signals.
void abortBlocked();
void abortSignalled();

// Marks the calling thread as cancelled, which ends it when it waits or writes. For systems where
// threads can be cancelled.
void cancelThisThread();

// Calls function(argument) in a thread and, while that is being reported, in a forked child. For
// systems that fork.
void crashInForkedChild(void* (*function)(void*), void* argument);
