// The name of a state, which is the module of all lines that its scripts log.
#pragma once

struct lua_State;

namespace lua {

inline constexpr char kNameless[] = "LUA";

// A null name leaves the state nameless. Raises if memory runs out.
void setName(lua_State* state, const char* name);

// Pushes the name and returns its text, which lives as long as the pushed value; for a state
// without a name pushes nil and returns `nameless`. Raises if memory runs out.
const char* pushName(lua_State* state, const char* nameless);

} // namespace lua
