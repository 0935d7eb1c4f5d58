// Looks up one key in a table.
#pragma once

#include "Lua/Key.h"

#include <lua.hpp>

namespace lua {

inline void pushKey(lua_State* state, const Lua::Key& key) {
    if (key.isText()) {
        lua_pushlstring(state, key.text().data(), key.text().size());
    } else {
        lua_pushnumber(state, key.index());
    }
}

// Stack: T -> T, value; the value is nil if T is no table. Returns 0. Uses metatables. If one of
// them raises an error, or memory runs out: T -> T, message; returns Lua's error code.
int pushField(lua_State* state, const Lua::Key& key);

} // namespace lua
