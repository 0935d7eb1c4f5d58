#include "lua/protect.h"

#include <lua.hpp>

namespace lua {

namespace {

// To push a C function takes memory in Lua 5.1, to push a light userdata may do so in LuaJIT, and
// either may raise then. So one function serves all protected calls. It is made once, kept in the
// registry, and told what to call through a box of Lua's, its upvalue: to fetch it takes no memory.
constexpr int kRunnerKey = -0x515A; // references are positive

struct Box {
    const ProtectedCall* call;
};

int runCall(lua_State* state) {
    const ProtectedCall& call =
        *static_cast<Box*>(lua_touserdata(state, lua_upvalueindex(1)))->call;
    return call.invoke(state, call.operation);
}

int keepRunner(lua_State* state) {
    lua_newuserdata(state, sizeof(Box));
    lua_pushcclosure(state, runCall, 1);
    lua_rawseti(state, LUA_REGISTRYINDEX, kRunnerKey);
    return 0;
}

bool fetchRunner(lua_State* state, const ProtectedCall& call) {
    lua_rawgeti(state, LUA_REGISTRYINDEX, kRunnerKey);
    if (lua_tocfunction(state, -1) != runCall) { // scripts reach the registry, too
        lua_pop(state, 1);
        return false;
    }
    lua_getupvalue(state, -1, 1);
    static_cast<Box*>(lua_touserdata(state, -1))->call = &call;
    lua_pop(state, 1);
    return true;
}

// Pushes the runner, or an error message.
int pushRunner(lua_State* state, const ProtectedCall& call) {
    if (fetchRunner(state, call)) {
        return 0;
    }
    const int status = lua_cpcall(state, keepRunner, nullptr);
    if (status == 0) {
        fetchRunner(state, call);
    }
    return status;
}

} // namespace

int runProtected(lua_State* state, int arguments, int results, const ProtectedCall& call) {
    const int base = lua_gettop(state) - arguments;
    const int status = pushRunner(state, call);
    lua_insert(state, base + 1);
    if (status != 0) {
        lua_settop(state, base + 1);
        return status;
    }
    return lua_pcall(state, arguments, results, 0);
}

// Converts nothing: that could raise.
const char* errorText(lua_State* state) {
    return lua_type(state, -1) == LUA_TSTRING ? lua_tostring(state, -1) : "unknown error";
}

} // namespace lua
