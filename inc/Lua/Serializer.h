/* Saves a Lua table as Lua source. C++ only, for programs built by the library's compiler.
 *
 * Running the source makes the table again under the same global name. Plain trees are written in a
 * nested form that people can read and edit:
 *
 *     settings = {
 *         ["volume"] = 0.5,
 *         ["video"] = {
 *             ["width"] = 1280,
 *         },
 *     }
 *
 * A flat form, a numbered list of empty tables and then one assignment for each entry, is written
 * if a table occurs twice (shared or cyclic data), if a key is neither a number nor a string, or if
 * more than 180 tables are nested, which Lua could not read back.
 *
 * Entries are in the order of pairs. Numbers are written as by Lua's tostring (14 digits), with a
 * point in every locale. Metatables are not saved.
 *
 * Some output cannot be read back, or is read as something else, even as other entries:
 *
 * - Strings are written between double quotes without escapes. They must not hold quotes,
 *   backslashes, line breaks or zero bytes. Loading does not show it: refuse such strings before.
 *   The table's name has to be a Lua name.
 * - Infinity and not-a-number are written as words that Lua takes for globals.
 * - One file may hold some 260 000 different numbers and strings, keys included; with LuaJIT some
 *   65 000, where each nested table counts as one, too. A larger one does not load.
 */
#ifndef QZCORE_LUA_SERIALIZER_H
#define QZCORE_LUA_SERIALIZER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <iosfwd>
#include <stdexcept>
#include <string>

struct lua_State;

namespace Lua {

/* what() is the message. Must not pass through a lua_CFunction. */
class QZ_API SerializerException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class QZ_API Serializer {
public:
    /* The stream outlives the serializer. The caller asks the stream whether writing worked. If the
     * stream throws, saving ends and the exception is not passed on. */
    explicit Serializer(std::ostream& out) : out_(out) {}

    /* Writes the global table of this name; the base and string libraries are open.
     *
     * Each call compiles a Lua function, __serialize, into the state and calls it. It and its
     * helpers stay there as globals: fill_cache, write, output_table, can_pretty, write_tab,
     * dopretty, save_pretty; and __write, which writes nothing after the call. They replace globals
     * of these names, even the table that is to be saved; a call within another, made by its
     * stream, puts those of the outer one back. Throws SerializerException with Lua's text if these
     * functions cannot be made.
     *
     * An error while the table is written (a function as a value, no table of that name) is not
     * thrown: the stream keeps what was written before, and the error message stays on the stack,
     * as one value. To find out, compare lua_gettop before and after. After success the stack is as
     * before. */
    void serialize(lua_State* state, const std::string& name);

private:
    friend struct SerializerOutput;

    QZ_LOCAL void write_(const std::string& text);

    std::ostream& out_;
};

} // namespace Lua

#endif
