#include "Lua/State.h"
#include "core/library_log.h"
#include "lua/chunk.h"
#include "lua/name.h"

#include <lua.hpp>

namespace {

// Adds the text of argument `index`, made by the global tostring, which scripts may have replaced.
void addArgument(lua_State* state, luaL_Buffer* line, int index) {
    lua_getglobal(state, "tostring");
    lua_pushvalue(state, index);
    lua_call(state, 1, 1);
    if (lua_isstring(state, -1) == 0) {
        luaL_error(state, "'tostring' must return a string to 'print'");
    }
    luaL_addvalue(line);
}

int print(lua_State* state) {
    const int count = lua_gettop(state);
    luaL_Buffer line;
    luaL_buffinit(state, &line);
    for (int i = 1; i <= count; ++i) {
        if (i > 1) {
            luaL_addchar(&line, '\t');
        }
        addArgument(state, &line, i);
    }
    luaL_pushresult(&line);
    const char* const text = lua_tostring(state, -1);
    qz_log(lua::pushName(state, lua::kNameless), QZ_LOG_DEBUG, text);
    return 0;
}

int loadfile(lua_State* state) {
    return lua::loadResults(state, QZ_lua_loadfile(state, luaL_optstring(state, 1, nullptr)));
}

int dofile(lua_State* state) {
    return lua::dofile(state, LUA_GLOBALSINDEX);
}

} // namespace

int QZ_luaopen_base(lua_State* state) {
    const int results = luaopen_base(state);
    lua_register(state, "print", print);
    lua_register(state, "loadfile", loadfile);
    lua_register(state, "dofile", dofile);
    return results;
}
