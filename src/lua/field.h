// One step into a table.
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

// T -> T, value and 0; nil if T is no table. Goes by metatables. An error that one of them raises,
// or lack of memory, gives T -> T, message and Lua's error code.
int pushField(lua_State* state, const Lua::Key& key);

} // namespace lua
