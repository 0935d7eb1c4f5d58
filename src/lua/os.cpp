#include "Lua/State.h"
#include "VFS/File.h"
#include "lua/lfs.h"

#include <lua.hpp>

namespace {

int remove(lua_State* state) {
    const char* const path = lua_tostring(state, 1);
    luaL_argcheck(state, path != nullptr, 1, "path is required");
    if (VFS_remove(path) != 0) {
        lua_pushboolean(state, 1);
        return 1;
    }
    lua_pushnil(state);
    lua_pushfstring(state, "deleting %s failed", path);
    return 2;
}

int rename(lua_State* state) {
    lua_pushnil(state);
    lua_pushliteral(state, "os.rename() is not supported on VFS");
    return 2;
}

constexpr luaL_Reg kReplaced[] = {{"remove", remove}, {"rename", rename}, {nullptr, nullptr}};

} // namespace

int QZ_luaopen_os(lua_State* state) {
    lua::openLfs(state);
    luaopen_os(state);
    luaL_register(state, nullptr, kReplaced);
    return 2;
}
