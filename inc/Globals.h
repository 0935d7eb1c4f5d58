/* The process-wide objects that the library makes when it is loaded, and the debug form of new.
 *
 * They exist from load to unload, belong to the library and must not be freed. Loading sets up, in
 * this order: the numeric locale "C", the log, the watch table with "Main pool", "Lua" and
 * "STL allocator"; globalConfig, globalFactoryManager, globalMail. Unloading takes down
 * globalFactoryManager, globalMail, globalConfig, the watch table and the log, in this order. An
 * object for which there was no memory is null. docs/guides/start-and-stop.md describes all of it,
 * other locales, and the end of a process.
 *
 * At the end of the process they stay, because other threads may be using them: neither their
 * destructors nor finalizers of Lua are called. Only the log is ended.
 *
 * globalProfiler is in Common/Profiler.h. On Linux a program that does not include these headers
 * may have variables of its own with such names.
 */
#ifndef QZCORE_GLOBALS_H
#define QZCORE_GLOBALS_H

#include "Core/Export.h"

#include <stddef.h>

QZ_EXTERN_C_BEGIN

struct lua_State;

/* The Lua state named "Config", with all script libraries of the library open. For one thread at a
 * time, normally the host's main thread. Null once unloading has begun. */
extern QZ_API struct lua_State* globalConfig QZ_SYMBOL("qz_globalConfig");

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
extern QZ_API Mail::Server* globalMail QZ_SYMBOL("qz_globalMail");

class FPS_Controller;

/* Paces the host's main loop. Static initialisers may use it. */
extern QZ_API FPS_Controller* globalFpsController QZ_SYMBOL("qz_globalFpsController");

class RandomManager;

/* Returns the tables of random numbers that all random objects read by default. The first call
 * makes them. Any thread may call it. Throws std::bad_alloc. */
QZ_API RandomManager* globalRandomManager();

/* Modules register the classes that they can make here. Static initialisers may use it. */
extern QZ_API Common::FactoryManager* registry QZ_SYMBOL("qz_registry");

/* Stores `registry` in *out with a reference, which the caller owns, or null if there was no memory
 * to make it. It is for Common::Registrator. The library makes the first call, when it is loaded;
 * after that there are two references, the library's own and that of `registry`. */
QZ_API void getRegistry(Common::FactoryManager** out);

/* Allocates as new does. It also creates the file "memory.log" in the current directory if there is
 * none. `file` and `line` are not used. Throws std::bad_alloc. */
QZ_API void* operator new(size_t size, const char* file, int line);
QZ_API void operator delete(void* block, const char* file, int line) noexcept;

#endif

#endif
