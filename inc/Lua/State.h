/* Lua states and the libraries of their scripts.
 *
 * States are ordinary Lua 5.1 states for Lua's own functions; a host links the same shared Lua
 * library as qzCore. Their memory comes from one pool, which exists while the library is loaded;
 * the watch "Lua" prints what the pool holds. Close all states before the library is unloaded.
 *
 * Scripts live on the virtual file system: chunks, dofile, loadfile, required modules, io and
 * os.remove go through the VFS functions (VFS/File.h), and print goes to the log. If the host opens
 * the library `mounted` for them, they read mounted files (VFS/Archive.h) through it.
 * docs/scripting.md describes these libraries. None of this protects against hostile scripts: they
 * have native modules, os.execute and the debug library, and only Lua itself checks precompiled
 * chunks.
 *
 * Threads: a state is for one thread at a time; different states are independent. A thread that
 * uses states needs a stack of 128 KiB: QZ_lua_copyindex of deep tables and nested dofile take the
 * most.
 *
 * Errors: Lua functions (those of the type lua_CFunction) raise Lua errors. So does
 * QZ_lua_copyindex when memory runs out, or when a finalizer of the state's scripts raises while
 * Lua collects, as Lua's own functions do; the others never raise. Outside of lua_pcall and
 * lua_cpcall a Lua error ends the process by exit(1), after one ERROR line "unprotected error: %s"
 * (module: the state's name). lua_atpanic replaces this line.
 */
#ifndef QZCORE_LUA_STATE_H
#define QZCORE_LUA_STATE_H

#include "Core/Export.h"

QZ_EXTERN_C_BEGIN

typedef struct lua_State lua_State;

/* Opens a state without any library.
 *
 * name: UTF-8; stored in the registry as a string under "QZ.id". It is the module of the lines that
 * the state's scripts log, and of those that the library logs about them. With a null name the
 * state has none, and the module is "LUA".
 *
 * Logs "Created state \"%s\"" at DEBUG. Returns null if memory runs out. */
QZ_API lua_State* QZ_lua_open(const char* name);

/* Closes a state and frees everything in it, including files that its scripts left open. Logs
 * "Deleted state \"%s\"" at DEBUG. The state may be null. */
QZ_API void QZ_lua_close(lua_State* state);

/* Opens the libraries, in this order: base, package, table, io, os and lfs, string, math, debug,
 * log; with LuaJIT its control library jit as well. If memory runs out, one ERROR line is logged,
 * and the libraries opened so far stay. The state may be null. */
QZ_API void QZ_lua_openlibs(lua_State* state);

/* Loads a chunk from a file of the VFS and leaves it on the stack, uncalled.
 *
 * The file is source text or a precompiled chunk, as lua_load takes them. With LuaJIT precompiled
 * chunks are refused as a syntax error, because LuaJIT does not check them for damage. The chunk's
 * name is the path, without the prefix character by which Lua marks names of files, so error
 * messages call it [string "path"]. A first line that begins with "#" is not skipped.
 *
 * Returns 0, or one of Lua's error codes with a message on the stack in place of the chunk.
 * LUA_ERRFILE (6): "no filename given" for a null path, "can't open '%s'" for a file that does not
 * open, "can't read '%s'" for one that cannot be read to its end, or Lua's own text for one that is
 * too large for Lua (too many constants, for example). Also LUA_ERRSYNTAX and LUA_ERRMEM. Never
 * raises. */
QZ_API int QZ_lua_loadfile(lua_State* state, const char* path);

/* The same for a mounted file. A missing file gives LUA_ERRFILE with "can't open '%s'" and no log
 * line; a file that cannot be read gives LUA_ERRFILE with "can't read '%s'" and one ERROR line
 * (module "VFS"). An empty file is an empty chunk. */
QZ_API int QZ_lua_loadmounted(lua_State* state, const char* path);

/* Pushes on `destination` a copy of the value at `index` of `source`.
 *
 * Booleans and numbers are copied as they are, strings up to their first zero byte. Tables are
 * copied with all keys and values, by the same rules, without metatables. Everything else becomes
 * nil, and an entry whose key or value becomes nil is left out. A table that occurs in several
 * places is copied once for each, so that a small table can grow exponentially: do not copy tables
 * from untrusted sources.
 *
 * If the value at `index` is a table, the function copies the table on top of the source's stack
 * instead. So push the table to be copied, and pass -1.
 *
 * A table that is nested deeper than 1000 levels, or contains itself, is not copied: the
 * destination gets nil, and one ERROR line (module: the destination's name) tells the reason. The
 * same happens if a stack has no room for a table, or if there is a table at `index` but none on
 * top.
 *
 * The source's stack is left as it was. The two states may be threads of one Lua state, or the
 * same. When memory runs out, a finalizer raises, or the destination's stack has no room for any
 * value, a Lua error is raised in the state where it happened, and then the source's stack may hold
 * values on top. */
QZ_API void QZ_lua_copyindex(lua_State* destination, lua_State* source, int index);

/* Library openers. Call them through Lua, as its own openers: with lua_call and the library's name
 * as argument. Each returns the number of values it leaves on the stack. QZ_luaopen_os also opens
 * lfs. */
QZ_API int QZ_luaopen_base(lua_State* state);
QZ_API int QZ_luaopen_package(lua_State* state);
QZ_API int QZ_luaopen_io(lua_State* state);
QZ_API int QZ_luaopen_os(lua_State* state);
QZ_API int QZ_luaopen_log(lua_State* state);

/* Opens a library that QZ_lua_openlibs leaves out: the global table `mounted`, with which scripts
 * read mounted files. They cannot change them. */
QZ_API int QZ_luaopen_mounted(lua_State* state);

QZ_EXTERN_C_END

#endif
