/* The loop of a running engine. */
#ifndef QZ_HOST_FRAMES_H
#define QZ_HOST_FRAMES_H

#include "settings.h"
#include "world.h"

/* Lets the ferries of a world sail for as many frames as the settings say, or until the user stops
 * the host. Then writes the logbook, the profile and the ferries' state into the write directory,
 * with a file of states for each world. fresh: does not continue from the last run's state. Throws
 * UserError, also if that state does not fit; its file is then not changed. */
void runFrames(const World& world, const Settings& settings, bool fresh);

#endif
