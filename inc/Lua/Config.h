/* Settings in Lua tables, by dotted path. C++ only, for programs built by the library's compiler.
 *
 *     Lua::Config config(state);
 *     if (config.tmpload("settings.lua", false)) {     // settings
 *         double width = 1280;
 *         config.get("video.window.width");            // settings, width
 *         config.pop(&width);                          // settings
 *         if (config.open("keys")) {                   // settings, keys
 *             ...
 *             lua_pop(state, 1);                       // settings
 *         }
 *         lua_pop(state, 1);
 *     }
 *
 * All functions work on the stack of the Lua state. Their comments show its top values before and
 * after the call, from bottom to top: "T -> T, value". T is the current table, the value on top of
 * the stack when a function is called. The caller pops what open and create push.
 *
 * A path is one or more keys separated by ".". Each is a text key, even if it looks like a number
 * ("a.1" does not find a[1]), and a dot cannot be escaped. Integer keys have their own functions. A
 * null path is the same as the empty text, which is a key like any other.
 *
 * Failures: a missing value is not an error. If loading or running fails, one ERROR line (module
 * "Lua::Config") is logged and the result is false, with the stack as it was. Reading and unset do
 * not raise errors because of what the tables hold: if a metatable's function raises one, the value
 * counts as missing, and one ERROR line "Call error %s:%s." names the key and the error. create and
 * set raise Lua errors, for example if a path leads through a number. All functions raise Lua
 * errors when memory runs out, when the stack has no room (Lua's limit is some 8000 values), or
 * when a finalizer of the state's scripts raises while Lua collects. These errors end the process
 * (Lua/State.h), except inside lua_pcall or lua_cpcall.
 *
 * Threads: the state is for one thread at a time.
 */
#ifndef QZCORE_LUA_CONFIG_H
#define QZCORE_LUA_CONFIG_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>
#include <string>

struct lua_State;

/* The host's own vector classes, or those of Lua/Vectors.h. */
namespace osg {
class Vec4ub;
class Vec2f;
class Vec3d;
class Vec4d;
} // namespace osg

namespace Lua {

class QZ_API Config {
public:
    /* state: not null; the caller owns it, and it outlives this object and its copies. */
    explicit Config(lua_State* state) : state_(state) {}

    /* -> results. Load a file of the VFS (QZ_lua_loadfile) and run it without arguments; all its
     * results stay on the stack. On failure the stack is as before, and load logs
     * "load error %s:%s." (file, error), dofile "Lua error %s in \"%s\"" (error, file). */
    bool load(const char* file);
    bool dofile(const char* file);

    /* Runs a text in the same way; a null text fails. It logs the same line as dofile, with the
     * text's first line, cut at 255 bytes, in place of the file. */
    bool dostring(const char* text);

    /* -> table. Run a file, or a chunk in memory, in a new table: the globals that it defines are
     * stored there, and those of the state do not change. On failure "load error %s:%s." is logged
     * and the stack is as before.
     *
     * withGlobals: if true, the chunk sees the state's globals through the table's metatable, the
     * table itself is its _G, and its dofile runs further files in the same table and raises their
     * errors. If false, it sees no globals at all, not even Lua's own functions.
     *
     * tmpload_buf: the buffer holds source text or a precompiled chunk, as QZ_lua_loadfile takes
     * them, and need not be terminated. The logged line has its text in place of the name. Lua's
     * own messages call the chunk "?". */
    bool tmpload(const char* file, bool withGlobals);
    bool tmpload_buf(const char* buffer, std::uint64_t size, bool withGlobals);

    /* T -> T, value; nil if the value is missing, a key on the way does not lead to a table, or the
     * stack is nearly full. */
    void get(const char* path);
    void get(int index);

    /* T -> T, table and true, or T -> T and false if there is no table. open_raw uses the whole
     * name, dots included, as one key. */
    bool open(const char* path);
    bool open(int index);
    bool open_raw(const char* name);

    /* T -> T, table. Makes all tables of the path that are missing. An existing value is pushed,
     * whatever its type. If a key on the way leads to a value that cannot be indexed, a Lua error
     * is raised. */
    void create(const char* path);
    void create(int index);
    void create_raw(const char* name);

    /* T, value -> T. Stores the value, and makes missing tables on the path as create does. */
    void set(const char* path);
    void set(int index);

    /* T -> T. Stores nil if all tables on the path exist; otherwise it does nothing. */
    void unset(const char* path);

    /* value -> (nothing), whatever the result. Returns true if the value has the right type; only
     * then the output is written.
     *
     * A bool is read from a boolean only; a std::string from a string, or a number as Lua prints
     * it; a number from a number, or a string that Lua would take for one. Numbers have a point in
     * every locale. Fractions are cut off towards zero. An int is INT_MIN if it cannot hold the
     * number, or the number is not-a-number. An unsigned type has the low bits of the number as a
     * 64-bit integer, so -1 gives its largest value; that integer is INT64_MIN if it cannot hold
     * the number. */
    bool pop(bool* output);
    bool pop(std::string* output);
    bool pop(unsigned char* output);
    bool pop(int* output);
    bool pop(float* output);
    bool pop(double* output);
    bool pop(unsigned short* output);
    bool pop(unsigned int* output);
    bool pop(unsigned long* output);

    /* value -> (nothing), whatever the result. The value is a table with numbers (not strings) at
     * 1, 2, ...; either all components are written or none. Bytes are converted as above. */
    bool pop(osg::Vec4ub* output);
    bool pop(osg::Vec2f* output);
    bool pop(osg::Vec3d* output);
    bool pop(osg::Vec4d* output);

    /* Read as pop does, but leave the value on the stack, for use between two calls of lua_next. */
    bool iterate_pop(bool* output);
    bool iterate_pop(std::string* output);
    bool iterate_pop(unsigned char* output);
    bool iterate_pop(int* output);
    bool iterate_pop(float* output);
    bool iterate_pop(double* output);

private:
    QZ_LOCAL void call_log(const char* a, const char* b) const;

    lua_State* state_;
};

} // namespace Lua

#endif
