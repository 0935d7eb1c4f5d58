#include "lua/name.h"

#include <lua.hpp>

namespace lua {

namespace {

constexpr char kKey[] = "QZ.id";

} // namespace

// Both functions use raw access: scripts can give the registry a metatable through the debug
// library, and its errors must not be raised here.

void setName(lua_State* state, const char* name) {
    lua_pushstring(state, kKey);
    lua_pushstring(state, name); // nil for null
    lua_rawset(state, LUA_REGISTRYINDEX);
}

const char* pushName(lua_State* state, const char* nameless) {
    lua_pushstring(state, kKey);
    lua_rawget(state, LUA_REGISTRYINDEX);
    return lua_type(state, -1) == LUA_TSTRING ? lua_tostring(state, -1) : nameless;
}

} // namespace lua
