/* Saving a Lua table as Lua source. C++ only, for programs built by the library's compiler.
 *
 * The source, when run, rebuilds the table under the same global name. Plain trees are written in a
 * nested form that people can read and edit:
 *
 *     settings = {
 *         ["volume"] = 0.5,
 *         ["video"] = {
 *             ["width"] = 1280,
 *         },
 *     }
 *
 * Where a table is reached a second time (shared or cyclic data), or a key is neither a number nor
 * a string, or where more than 180 tables stand in each other, which Lua could not read back, the
 * flat form is written instead: a numbered list of empty tables, then one assignment for each
 * entry.
 *
 * Entries come in the order of pairs, numbers as Lua's tostring prints them (14 digits), with a
 * point in every locale. Metatables are not saved.
 *
 * Not all that is written can be read back. Whoever must be sure loads the output once before
 * relying on it:
 *
 * - Strings go between double quotes exactly as they are, nothing escaped. They must not hold
 *   quotes, backslashes, line breaks or zero bytes, or the output does not compile or means
 *   something else. The table's name has to be a Lua name.
 * - Infinity and not-a-number come out as words that Lua takes for globals.
 * - One file may hold some 260 000 different numbers and strings, keys included; with LuaJIT some
 *   65 000, of which tables in tables count as one each.
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
    /* The stream outlives the serializer. Whether writing worked is for the caller to ask it; what
     * it throws, if it was told to, ends the saving and is not passed on. */
    explicit Serializer(std::ostream& out) : out_(out) {}

    /* Writes the global table of this name; the base and string libraries are open.
     *
     * The work is done by a Lua function, __serialize, which is compiled into the state anew by
     * each call. It and its helpers stay there as globals: fill_cache, write, output_table,
     * can_pretty, write_tab, dopretty, save_pretty; and __write, which writes nothing once the call
     * is over. Throws SerializerException with Lua's text if they cannot be put there.
     *
     * An error while the table is written (a function as a value, no table of that name) throws
     * nothing: what was written so far stays in the stream, and the error message stays on the
     * stack, one value. Callers that want to know compare lua_gettop. After success the stack is as
     * before. */
    void serialize(lua_State* state, const std::string& name);

private:
    friend struct SerializerOutput;

    QZ_LOCAL void write_(const std::string& text);

    std::ostream& out_;
};

} // namespace Lua

#endif
