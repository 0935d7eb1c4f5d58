/* The other mode of the host: it simulates nothing and watches a host that simulates. */
#ifndef QZ_HOST_WATCHER_H
#define QZ_HOST_WATCHER_H

#include <string>

/* Prints a line a second, if a new state has arrived, until the user stops it. The simulating host
 * may start before or after this one, end, and start anew. Throws UserError. */
void watchFleet(const std::string& name);

#endif
