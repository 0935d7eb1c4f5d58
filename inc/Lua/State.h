/* Lua states and the libraries that their scripts see.
 *
 * States are ordinary Lua 5.1 states, driven with Lua's own functions; a host links the same shared
 * Lua library as qzCore. Their memory comes from one pool, which exists while the library is
 * loaded; the watch "Lua" prints what the pool holds. States may be opened and closed at any time
 * in between and are all closed before the library is unloaded.
 *
 * Scripts live on the virtual file system: chunks, dofile, loadfile, required modules, io and
 * os.remove go through the VFS functions (VFS/File.h), and print goes to the log. What is
 * mounted (VFS/Archive.h) they read through the library `mounted`, if the host opens it for them.
 * docs/scripting.md tells what scripts find. This keeps well-meant scripts on the VFS; it is no
 * wall against hostile ones: native modules, os.execute and the debug library are there, and
 * precompiled chunks are checked by Lua only as far as Lua checks them.
 *
 * Threads: a state is used by one thread at a time; different states are independent.
 *
 * Errors: Lua functions (those of the type lua_CFunction) raise Lua errors. So does
 * QZ_lua_copyindex when memory runs out, as Lua's own functions do; the others never raise.
 */
#ifndef QZCORE_LUA_STATE_H
#define QZCORE_LUA_STATE_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

typedef struct lua_State lua_State;

/* Opens a state without any library.
 *
 * name: UTF-8; kept as a string in the registry under "QZ.id". Whatever the state's scripts log,
 * and what the library logs about them, carries it as the module. A null name leaves the state
 * nameless: its scripts log as "LUA".
 *
 * Logs "Created state \"%s\"" at DEBUG. Returns null if memory runs out. */
QZ_API lua_State* QZ_lua_open(const char* name);

/* Closes a state and frees everything in it; files that its scripts left open are closed. Logs
 * "Deleted state \"%s\"" at DEBUG. The state may be null. */
QZ_API void QZ_lua_close(lua_State* state);

/* Opens the libraries, in this order: base, package, table, io, os and lfs, string, math, debug,
 * log; with LuaJIT its control library jit as well. If memory runs out on the way, one ERROR line
 * says so and what was opened stays. The state may be null. */
QZ_API void QZ_lua_openlibs(lua_State* state);

/* Loads a chunk from a file of the VFS and leaves it on the stack, uncalled.
 *
 * Source text and precompiled chunks are accepted as lua_load accepts them; with LuaJIT, which does
 * not check precompiled chunks for damage, they are refused as a syntax error. The path itself is
 * the chunk's name, without the prefix character by which Lua tells names of files from chunks of
 * text; so names in error messages read [string "path"]. A first line that begins with "#" is not
 * skipped.
 *
 * Returns 0, or one of Lua's error codes with a message on the stack in place of the chunk:
 * LUA_ERRFILE (6) with "no filename given" for a null path and "can't open '%s'" for a file that
 * does not open, "can't read '%s'" for one that cannot be read to its end, and with Lua's own text
 * for one that it cannot hold (with too many constants, for example); LUA_ERRSYNTAX, LUA_ERRMEM.
 * Never raises. */
QZ_API int QZ_lua_loadfile(lua_State* state, const char* path);

/* The same for a mounted file. One that is missing is LUA_ERRFILE with "can't open '%s'" and no
 * line in the log; one that cannot be read is LUA_ERRFILE with "can't read '%s'" and one ERROR line
 * (module "VFS"). An empty file is an empty chunk. */
QZ_API int QZ_lua_loadmounted(lua_State* state, const char* path);

/* Pushes on `destination` a copy of the value at `index` of `source`.
 *
 * Booleans and numbers are copied as they are, strings up to their first zero byte, tables deeply,
 * keys and values by the same rule and without metatables; everything else becomes nil, and an
 * entry whose key or value becomes nil is left out. A table that occurs in several places is copied
 * anew for each of them, so that a small table crafted for it grows exponentially: tables of
 * doubtful origin are not to be copied.
 *
 * For tables mind this: `index` only tells that a table is meant; the one copied is the one on top
 * of the source's stack. So push the table and give -1.
 *
 * A table nested deeper than 1000 levels, as one that contains itself is, is not copied at all: the
 * destination gets nil, and one ERROR line (module: the destination's name) says why. The same
 * happens if a stack has no room, or if `index` means a table but there is none on top.
 *
 * The source's stack is left as it was; both stacks may belong to the same Lua universe, or be one.
 * When memory runs out, a Lua error is raised in the state that needed it, and then the source's
 * stack may hold values on top. */
QZ_API void QZ_lua_copyindex(lua_State* destination, lua_State* source, int index);

/* Library openers, to be called through Lua as its own openers are (with lua_call, the library's
 * name as argument). Each returns the number of values it leaves on the stack. QZ_luaopen_os opens
 * lfs, too. */
QZ_API int QZ_luaopen_base(lua_State* state);
QZ_API int QZ_luaopen_package(lua_State* state);
QZ_API int QZ_luaopen_io(lua_State* state);
QZ_API int QZ_luaopen_os(lua_State* state);
QZ_API int QZ_luaopen_log(lua_State* state);

/* Another one, which QZ_lua_openlibs leaves out: the global table `mounted`, by which scripts read
 * what is mounted, and cannot change it. */
QZ_API int QZ_luaopen_mounted(lua_State* state);

QZ_EXTERN_C_END

#endif
