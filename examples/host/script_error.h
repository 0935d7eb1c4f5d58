/* Logs what went wrong in a script, and where. */
#ifndef QZ_HOST_SCRIPT_ERROR_H
#define QZ_HOST_SCRIPT_ERROR_H

struct lua_State;

/* The text of an error value, which may be of any type; valid while the value is on the stack. */
const char* describeError(lua_State* L, int index);

/* For lua_pcall: logs the error and its place in the script, unless the script was told to stop. */
int logScriptError(lua_State* L);

/* Logs the message that QZ_lua_loadfile has pushed onto the stack. */
void logLoadError(lua_State* L, const char* module, const char* path);

#endif
