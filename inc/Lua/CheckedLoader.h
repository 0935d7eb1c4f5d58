/* Runs a Lua file in a global table of its own. C++ only, for programs built by the library's
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

/* Has no data: any threads may use it at once, each with its own Lua state. */
class QZ_API CheckedLoader {
public:
    /* The one instance of the process, made on first use. */
    static CheckedLoader& instance();

    CheckedLoader(const CheckedLoader&) = delete;
    CheckedLoader& operator=(const CheckedLoader&) = delete;

    /* Not implemented: always throws "addCheckedFile not implemented". */
    void addCheckedFile(const char* file, int flags);

    /* Runs a file without arguments and drops its results. The stack is left as it was.
     *
     * file: if the name ends in ".lua", the compiled file ".luac" beside it is run instead,
     *   provided that it is readable and loads. The C library's access function tells whether it is
     *   readable; on Windows it takes the name in the ANSI code page. The file itself is read
     *   through the VFS.
     * table: if not empty, the file runs in the global table of this name: it defines its globals
     *   there and sees no others. A global that is not a table is replaced by a new table.
     *
     * Throws CheckedLoaderException: "Can't do file, name is empty!", or "Can't execute Lua file "
     * + file + " - " + Lua's text. Lua errors pass through only if memory runs out for the stack.
     */
    void loadFile(lua_State* state, const std::string& file, const std::string& table = {});

    /* The same, but a CheckedLoaderException is not thrown: its message is logged as an ALERT
     * (module "QZCORE"), and the result is false. */
    bool tryLoadFile(lua_State* state, const std::string& file, const std::string& table = {});

private:
    CheckedLoader() = default;
};

} // namespace Lua

#endif
