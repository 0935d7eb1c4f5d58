/* The process-wide objects that the library makes when it is loaded, and the debug form of new.
 *
 * They exist from load to unload, belong to the library and must not be freed. Loading brings up,
 * in this order: the numeric locale "C", the log, the watch table with "Main pool", "Lua" and "STL
 * allocator", globalConfig, globalFactoryManager, globalMail. Unloading takes down
 * globalFactoryManager, globalMail, globalConfig, the watch table, and the log last. What could not
 * be made for want of memory is null. docs/guides/start-and-stop.md has the whole, with what
 * another locale does and what becomes of everything at the end of a process.
 *
 * At the end of the process they stay, because other threads may be using them; no destructor of
 * theirs is called and no finalizer of Lua. Only the log is brought to its end.
 *
 * globalProfiler stands in Common/Profiler.h.
 */
#ifndef QZCORE_GLOBALS_H
#define QZCORE_GLOBALS_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

struct lua_State;

/* The Lua state named "Config", with all of the library's script libraries open; for one thread at
 * a time, normally the host's main thread. Null after unloading has begun. */
extern QZ_API struct lua_State* globalConfig;

QZ_EXTERN_C_END

#ifdef __cplusplus

namespace Common {

class FactoryManager;

/* The engine's factories. */
extern QZ_API FactoryManager* globalFactoryManager;

} // namespace Common

namespace Mail {
class Server;
}

/* Delivers messages between the engine's parts; addresses below 256 are found fastest. */
extern QZ_API Mail::Server* globalMail;

class FPS_Controller;

/* Paces the host's main loop; there for static initialisers, too. */
extern QZ_API FPS_Controller* globalFpsController;

class RandomManager;

/* The tables of random numbers that all random objects read unless told otherwise; made by the
 * first call. Any thread may call it. Throws std::bad_alloc. */
QZ_API RandomManager* globalRandomManager();

/* Where modules register the classes that they can make, before anything else of the library is
 * needed: it is there for static initialisers, too. */
extern QZ_API Common::FactoryManager* registry;

/* The same, for Common::Registrator: stores it in *out with a reference, which is the caller's, or
 * null if there is no memory for it. The first call makes it, and is the library's own, on loading:
 * there are two references then, that of the library and that of `registry`. */
QZ_API void getRegistry(Common::FactoryManager** out);

/* Allocates as new does. Besides it counts the bytes, and opens the file "memory.log" of the
 * current directory for appending and closes it again, so that the file exists. `file` and `line`
 * are not used. Throws std::bad_alloc. */
QZ_API void* operator new(size_t size, const char* file, int line);
QZ_API void operator delete(void* block, const char* file, int line) noexcept;

#endif

#endif
