/* The other mode of the host: it simulates nothing and watches one that does. */
#ifndef QZ_HOST_WATCHER_H
#define QZ_HOST_WATCHER_H

#include <string>

/* Prints a line a second, if there is news, until somebody wishes to stop. The one that simulates
 * may start before or after, end, and begin anew. Throws UserError. */
void watchFleet(const std::string& name);

#endif
