#include "lua/protect.h"

#include <lua.hpp>

namespace lua {

namespace {

// To push a C function takes memory in Lua 5.1 and may raise. So there is one for all protected
// calls, made once and kept in the registry under this variable's address: to fetch it takes none.
constexpr char kRunnerKey = 0;

void* runnerKey() {
    return const_cast<char*>(&kRunnerKey);
}

int runCall(lua_State* state) {
    const auto& call = *static_cast<const ProtectedCall*>(lua_touserdata(state, -1));
    lua_pop(state, 1);
    return call.invoke(state, call.operation);
}

int keepRunner(lua_State* state) {
    lua_pushlightuserdata(state, runnerKey());
    lua_pushcfunction(state, runCall);
    lua_rawset(state, LUA_REGISTRYINDEX);
    return 0;
}

bool fetchRunner(lua_State* state) {
    lua_pushlightuserdata(state, runnerKey());
    lua_rawget(state, LUA_REGISTRYINDEX);
    if (lua_tocfunction(state, -1) == runCall) { // scripts reach the registry, too
        return true;
    }
    lua_pop(state, 1);
    return false;
}

// Pushes the runner, or an error message.
int pushRunner(lua_State* state) {
    if (fetchRunner(state)) {
        return 0;
    }
    const int status = lua_cpcall(state, keepRunner, nullptr);
    if (status == 0) {
        fetchRunner(state);
    }
    return status;
}

} // namespace

int runProtected(lua_State* state, int arguments, int results, const ProtectedCall& call) {
    const int base = lua_gettop(state) - arguments;
    const int status = pushRunner(state);
    lua_insert(state, base + 1);
    if (status != 0) {
        lua_settop(state, base + 1);
        return status;
    }
    lua_pushlightuserdata(state, const_cast<ProtectedCall*>(&call));
    return lua_pcall(state, arguments + 1, results, 0);
}

const char* errorText(lua_State* state) {
    const char* const text = lua_tostring(state, -1);
    return text != nullptr ? text : "unknown error";
}

} // namespace lua
