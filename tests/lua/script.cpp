#include "lua/script.h"

#include "Lua/State.h"

#include <regex>

namespace qz::test {

std::string describe(lua_State* state, int index) {
    switch (lua_type(state, index)) {
    case LUA_TNUMBER:
    case LUA_TSTRING: {
        lua_pushvalue(state, index); // conversion changes the value on the stack
        std::string text(lua_tostring(state, -1), lua_objlen(state, -1));
        lua_pop(state, 1);
        return text;
    }
    case LUA_TBOOLEAN:
        return lua_toboolean(state, index) != 0 ? "true" : "false";
    default:
        return luaL_typename(state, index);
    }
}

std::string run(lua_State* state, const std::string& code) {
    const int top = lua_gettop(state);
    std::string results;
    if (luaL_loadbuffer(state, code.data(), code.size(), "=script") != 0 ||
        lua_pcall(state, 0, LUA_MULTRET, 0) != 0) {
        results = "error: ";
    }
    for (int i = top + 1; i <= lua_gettop(state); ++i) {
        results += (i > top + 1 ? "|" : "") + describe(state, i);
    }
    lua_settop(state, top);
    static const std::regex kPosition("^error: script:[0-9]+: ");
    return std::regex_replace(results, kPosition, "error: ");
}

Script::Script(const char* name) : state_(QZ_lua_open(name)) {
    QZ_lua_openlibs(state_);
    EXPECT_EQ(lua_gettop(state_), 0);
}

Script::~Script() {
    EXPECT_EQ(lua_gettop(state_), 0);
    QZ_lua_close(state_);
}

} // namespace qz::test
