// What the probe does that each system has its own calls for.
#pragma once

// Keeps the system from asking anybody, and from storing core dumps.
void makeQuiet();

// A way to die that only this system has.
extern "C" void dieInSystemWay();

// A handler as the host might have it: says "other handler" and exits with 7.
void installOtherHandler();
