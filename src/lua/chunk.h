// Loading chunks that may be damaged.
#pragma once

#include <lua.hpp>

#include <cstddef>
#include <string_view>

namespace lua {

// Both do what lua_load does, but no damage in a precompiled chunk makes Lua ask for more memory
// than a sound one of that size could need; and with LuaJIT, which does not check such chunks, they
// are syntax errors. A null name is "?".
int loadChunk(lua_State* state, lua_Reader read, void* context, std::size_t size, const char* name);
int loadChunk(lua_State* state, std::string_view chunk, const char* name);

} // namespace lua
