/* Running a Lua file into a global table of its own. C++ only, for programs built by the library's
 * compiler. */
#ifndef QZCORE_LUA_CHECKEDLOADER_H
#define QZCORE_LUA_CHECKEDLOADER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <stdexcept>
#include <string>

struct lua_State;

namespace Lua {

/* what() is the message. Must not pass through a lua_CFunction. */
class QZ_API CheckedLoaderException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/* Holds nothing: any threads may use it at once, each with a state of its own. */
class QZ_API CheckedLoader {
public:
    /* The one instance of the process, made on first use. */
    static CheckedLoader& instance();

    CheckedLoader(const CheckedLoader&) = delete;
    CheckedLoader& operator=(const CheckedLoader&) = delete;

    /* Not there yet: always throws "addCheckedFile not implemented". */
    void addCheckedFile(const char* file, int flags);

    /* Runs a file without arguments and drops its results. The stack is left as it was.
     *
     * file: for a name that ends in ".lua" the compiled file beside it, ".luac", is taken instead
     * if it is readable and loads. Readable is what the C library's access function says, which on
     *   Windows takes the name in the ANSI code page; the file itself is read through the VFS.
     * table: if not empty, the global table of this name receives everything that the file defines,
     *   and is all that the file sees. A global that is no table is replaced by a new one.
     *
     * Throws CheckedLoaderException: "Can't do file, name is empty!", or "Can't execute Lua file "
     * + file + " - " + Lua's text. Lua errors pass through only if memory runs out for the stack.
     */
    void loadFile(lua_State* state, const std::string& file, const std::string& table = {});

    /* The same with a result: false if it threw a CheckedLoaderException, whose message is then
     * logged at ALERT (module "QZCORE"). */
    bool tryLoadFile(lua_State* state, const std::string& file, const std::string& table = {});

private:
    CheckedLoader() = default;
};

} // namespace Lua

#endif
