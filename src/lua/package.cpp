#include "Lua/State.h"
#include "VFS/File.h"

#include <lua.hpp>

#include <cstring>

namespace {

// Pushes the next template of the path and returns what follows it, or null at the end.
const char* pushNextTemplate(lua_State* state, const char* path) {
    while (*path == ';') {
        ++path;
    }
    if (*path == '\0') {
        return nullptr;
    }
    const std::size_t length = std::strcspn(path, ";");
    lua_pushlstring(state, path, length);
    return path + length;
}

// Pushes the name of the first candidate that exists and returns true. If none does, pushes the
// list of candidates for the error text and returns false.
bool pushFile(lua_State* state, const char* path, const char* name) {
    lua_pushliteral(state, "");
    while ((path = pushNextTemplate(state, path)) != nullptr) {
        const char* const candidate = luaL_gsub(state, lua_tostring(state, -1), "?", name);
        lua_remove(state, -2);
        if (VFS_exists(candidate) != 0) {
            lua_remove(state, -2);
            return true;
        }
        lua_pushfstring(state, "\n\tno file '%s'", candidate);
        lua_remove(state, -2);
        lua_concat(state, 2);
    }
    return false;
}

int loadModule(lua_State* state) {
    const char* const module = luaL_checkstring(state, 1);
    const char* const name = luaL_gsub(state, module, ".", "\\");
    lua_getfield(state, lua_upvalueindex(1), "path");
    const char* const path = lua_tostring(state, -1);
    if (path == nullptr) {
        return luaL_error(state, "'package.%s' must be a string", "path");
    }
    if (!pushFile(state, path, name)) {
        return 1;
    }
    const char* const file = lua_tostring(state, -1);
    if (QZ_lua_loadfile(state, file) != 0) {
        return luaL_error(state, "error loading module '%s' from file '%s':\n\t%s", module, file,
                          lua_tostring(state, -1));
    }
    return 1;
}

} // namespace

int QZ_luaopen_package(lua_State* state) {
    const int results = luaopen_package(state); // the package table is on top
    lua_getfield(state, -1, "loaders");
    lua_pushvalue(state, -2);
    lua_pushcclosure(state, loadModule, 1);
    lua_rawseti(state, -2, 2);
    lua_pop(state, 1);
    return results;
}
