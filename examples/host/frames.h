/* The loop of a running engine. */
#ifndef QZ_HOST_FRAMES_H
#define QZ_HOST_FRAMES_H

#include "settings.h"
#include "world.h"

/* Lets the ferries of a world sail for as many frames as the settings say, or until somebody wishes
 * to stop; then writes the logbook, the profile and what the ferries go on from next time into the
 * write directory, a file for each world. fresh: they do not go on from the last time. Throws
 * UserError, also if what the last time has left cannot be gone on from; it stays as it is. */
void runFrames(const World& world, const Settings& settings, bool fresh);

#endif
