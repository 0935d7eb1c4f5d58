/* Saves a script's global table `state` from one run to the next. */
#ifndef QZ_HOST_SAVED_STATE_H
#define QZ_HOST_SAVED_STATE_H

#include <string>

struct lua_State;

/* Sets the global table from a file that saveState has written. Throws UserError. */
void restoreState(lua_State* L, const std::string& file);

/* Replaces the file in one step; does nothing if the state has no such table. Throws UserError. */
void saveState(lua_State* L, const std::string& file);

#endif
