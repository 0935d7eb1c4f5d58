// Loading chunks that may be damaged, and what scripts get of them.
#pragma once

#include <lua.hpp>

#include <cstddef>
#include <string_view>

namespace lua {

// Both do what lua_load does, but limit memory: a damaged precompiled chunk cannot make Lua
// allocate more than a sound chunk of `size` bytes could need. LuaJIT does not check precompiled
// chunks, so with LuaJIT each one is a syntax error. A null name is "?".
int loadChunk(lua_State* state, lua_Reader read, void* context, std::size_t size, const char* name);
int loadChunk(lua_State* state, std::string_view chunk, const char* name);

// The results for a script: the chunk that was loaded, or nil and the message.
int loadResults(lua_State* state, int loadStatus);

// The function `dofile` of scripts, for chunks that run in the table at an index.
int dofile(lua_State* state, int environment);

} // namespace lua
