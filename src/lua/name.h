// The name of a state: the module of everything that its scripts log.
#pragma once

struct lua_State;

namespace lua {

inline constexpr char kNameless[] = "LUA";

// A null name leaves the state nameless. Raises if memory runs out.
void setName(lua_State* state, const char* name);

// Pushes the name, which keeps its text alive, or nil; returns the text, or `nameless`. Raises if
// memory runs out.
const char* pushName(lua_State* state, const char* nameless);

} // namespace lua
