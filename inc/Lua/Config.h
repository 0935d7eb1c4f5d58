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
 * Everything works on the stack of the Lua state and leaves it in a stated shape, written here from
 * bottom to top: "T -> T, value". T is the current table, the value on top of the stack when a
 * function is called. What open and create push is popped by the caller.
 *
 * A path is one or more keys separated by "."; each is used as a text key, also when it looks like
 * a number ("a.1" does not find a[1]), and nothing escapes a dot. Integer keys have functions of
 * their own. A null path counts as the empty text, which is a key like any other.
 *
 * Failures: what is missing is no error. Loading and running log one ERROR line (module
 * "Lua::Config") and return false, with the stack as it was. Reading never raises because of what
 * the tables hold: where a metatable's __index raises, the value counts as missing and one ERROR
 * line "Call error %s:%s." names the key and the error. Creating and setting let Lua errors
 * through, as when a path leads through a number. So does everything when memory runs out, when the
 * stack has no room (Lua's limit is some 8000 values), or when a finalizer of the state's scripts
 * raises while Lua collects. Where such errors are to be survived, the call belongs inside
 * lua_pcall or lua_cpcall.
 *
 * Threads: those of the state, one at a time.
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
    /* state: not null; stays the caller's and outlives this object and its copies. */
    explicit Config(lua_State* state) : state_(state) {}

    /* Load a file of the VFS (QZ_lua_loadfile) and run it without arguments; all its results stay
     * on the stack: -> results. On failure the stack is as before and a line is logged: load "load
     * error %s:%s." (file, error), dofile "Lua error %s in \"%s\"" (error, file). */
    bool load(const char* file);
    bool dofile(const char* file);

    /* Runs text in the same way; a null text fails. The line logged is dofile's, with the text's
     * first line in place of the file, or with its first 255 bytes if no line ends within them. */
    bool dostring(const char* text);

    /* Run a file, or a chunk in memory, in a fresh table of its own, so that the globals it defines
     * land there and the state's own stay as they are: -> table. On failure "load error %s:%s." is
     * logged and the stack is as before.
     *
     * withGlobals: the chunk sees the state's globals through the table's metatable, finds the
     * table itself as _G, and has a dofile that runs further files in the same table and raises
     * their errors. Without, it is pure data: it sees no globals at all, not even Lua's own
     * functions.
     *
     * tmpload_buf: the buffer holds what QZ_lua_loadfile takes, and need not be terminated. In the
     * logged line its text stands for the name. In Lua's own messages the chunk is called "?". */
    bool tmpload(const char* file, bool withGlobals);
    bool tmpload_buf(const char* buffer, std::uint64_t size, bool withGlobals);

    /* T -> T, value; nil if a table on the way is missing or no table, or if the stack has room for
     * little more. */
    void get(const char* path);
    void get(int index);

    /* T -> T, table and true, or T -> T and false if there is no table. open_raw takes the whole
     * name as one key, dots included. */
    bool open(const char* path);
    bool open(int index);
    bool open_raw(const char* name);

    /* T -> T, table. Makes every table on the path that is missing. A value that exists is taken as
     * it is, whatever its type; to go on through one that cannot be indexed is a Lua error. */
    void create(const char* path);
    void create(int index);
    void create_raw(const char* name);

    /* T, value -> T. Stores the value; makes missing tables on the path as create does. */
    void set(const char* path);
    void set(int index);

    /* T -> T. Stores nil if all tables on the path exist, else does nothing. */
    void unset(const char* path);

    /* value -> nothing, always. True if the value has the wanted type; only then the output is
     * written.
     *
     * bool takes a boolean only; std::string a string or a number, as Lua prints it; numbers a
     * number or a string that reads as one, both with a point in every locale. Fractions are cut
     * off towards zero. int is INT_MIN for what it cannot hold, not-a-number included. The unsigned
     * types take the low bits of the number as a 64-bit integer, so that -1 is their largest value;
     * that integer is INT64_MIN for what it cannot hold. */
    bool pop(bool* output);
    bool pop(std::string* output);
    bool pop(unsigned char* output);
    bool pop(int* output);
    bool pop(float* output);
    bool pop(double* output);
    bool pop(unsigned short* output);
    bool pop(unsigned int* output);
    bool pop(unsigned long* output);

    /* value -> nothing, always. The value is a table with numbers (not strings) at 1, 2, ...;
     * either all components are written or none. Bytes are cut as above. */
    bool pop(osg::Vec4ub* output);
    bool pop(osg::Vec2f* output);
    bool pop(osg::Vec3d* output);
    bool pop(osg::Vec4d* output);

    /* Read like pop but leave the value there, for use between two calls of lua_next. */
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
