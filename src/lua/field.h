// One step into a table.
#pragma once

#include "Lua/Key.h"

struct lua_State;

namespace lua {

void pushKey(lua_State* state, const Lua::Key& key);

// T -> T, value and 0; nil if T is no table. Goes by metatables. An error that one of them raises, or
// lack of memory, gives T -> T, message and Lua's error code.
int pushField(lua_State* state, const Lua::Key& key);

} // namespace lua
