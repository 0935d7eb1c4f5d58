// The file-system library of scripts.
#pragma once

struct lua_State;

namespace lua {

// A library opener, of the type lua_CFunction.
int openLfs(lua_State* state);

} // namespace lua
