/* The process-wide objects that the library makes when it is loaded.
 *
 * They exist from load to unload, belong to the library and must not be freed.
 */
#ifndef QZCORE_GLOBALS_H
#define QZCORE_GLOBALS_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

struct lua_State;

/* The Lua state named "Config", with all of the library's script libraries open; for one thread at
 * a time, normally the host's main thread. Null after unloading has begun. */
extern QZ_API struct lua_State* globalConfig;

QZ_EXTERN_C_END

#endif
