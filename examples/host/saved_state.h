/* What a script keeps from one run to the next: its global table `state`. */
#ifndef QZ_HOST_SAVED_STATE_H
#define QZ_HOST_SAVED_STATE_H

#include <string>

struct lua_State;

/* Sets the global from a file that saveState has written. Throws UserError. */
void restoreState(lua_State* L, const std::string& file);

/* Replaces the file in one step; does nothing if the script has left no such table. Throws
 * UserError. */
void saveState(lua_State* L, const std::string& file);

#endif
