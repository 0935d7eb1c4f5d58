#include "lua/protect.h"

#include <lua.hpp>

#include <utility>

namespace lua {

namespace {

// Pushing a C function takes memory in Lua 5.1, pushing a light userdata may in LuaJIT, and both
// may then raise an error. So one function in the registry, the runner, serves all protected calls.
// Its upvalue, a userdata, holds what to call. Fetching both takes no memory.
constexpr int kRunnerKey = -0x515A; // references are positive

// `call` is set only from runProtected to the beginning of the runner, because scripts can reach
// the runner, too. A script's call hook may run in between and make protected calls of its own.
struct Box {
    const ProtectedCall* call;
};

int runCall(lua_State* state) {
    Box& box = *static_cast<Box*>(lua_touserdata(state, lua_upvalueindex(1)));
    const ProtectedCall* const call = std::exchange(box.call, nullptr);
    return call != nullptr ? call->invoke(state, call->operation) : 0;
}

int keepRunner(lua_State* state) {
    static_cast<Box*>(lua_newuserdata(state, sizeof(Box)))->call = nullptr;
    lua_pushcclosure(state, runCall, 1);
    lua_rawseti(state, LUA_REGISTRYINDEX, kRunnerKey);
    return 0;
}

// Pushes the runner and returns its box; or pushes nothing and returns null.
Box* fetchRunner(lua_State* state) {
    lua_rawgeti(state, LUA_REGISTRYINDEX, kRunnerKey);
    if (lua_tocfunction(state, -1) != runCall) { // scripts can change the registry, too
        lua_pop(state, 1);
        return nullptr;
    }
    lua_getupvalue(state, -1, 1);
    auto* const box = static_cast<Box*>(lua_touserdata(state, -1));
    lua_pop(state, 1);
    return box;
}

// Pushes the runner, sets `box` and returns 0; or pushes a message and returns Lua's error code.
int pushRunner(lua_State* state, Box*& box) {
    box = fetchRunner(state);
    if (box != nullptr) {
        return 0;
    }
    const int status = lua_cpcall(state, keepRunner, nullptr);
    if (status == 0) {
        box = fetchRunner(state);
    }
    return status;
}

} // namespace

void reserve(lua_State* state, int room) {
    luaL_checkstack(state, room, "too many open tables");
}

int runProtected(lua_State* state, int arguments, int results, const ProtectedCall& call) {
    const int base = lua_gettop(state) - arguments;
    Box* box = nullptr;
    int status = pushRunner(state, box);
    lua_insert(state, base + 1);
    if (status != 0) {
        lua_settop(state, base + 1);
        return status;
    }
    const ProtectedCall* const outer = std::exchange(box->call, &call);
    status = lua_pcall(state, arguments, results, 0);
    box->call = outer; // the box still lives: nothing was collected since the runner left the stack
    return status;
}

// Does not convert other values to text, because that could raise an error.
const char* errorText(lua_State* state) {
    return lua_type(state, -1) == LUA_TSTRING ? lua_tostring(state, -1) : "unknown error";
}

} // namespace lua
