/* The loop of a running engine. */
#ifndef QZ_HOST_FRAMES_H
#define QZ_HOST_FRAMES_H

#include "settings.h"
#include "world.h"

/* Lets the ferries of a world sail for as many frames as the settings say, or until somebody wishes
 * to stop; then writes the logbook and the profile into the write directory. Throws UserError. */
void runFrames(const World& world, const Settings& settings);

#endif
