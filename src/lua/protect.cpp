#include "lua/protect.h"

#include <lua.hpp>

#include <utility>

namespace lua {

namespace {

// To push a C function takes memory in Lua 5.1, to push a light userdata may do so in LuaJIT, and
// either may raise then. So one function serves all protected calls. It is made once, kept in the
// registry, and told what to call through a box of Lua's, its upvalue: to fetch it takes no memory.
constexpr int kRunnerKey = -0x515A; // references are positive

// The box tells what to call from runProtected to the beginning of the runner, and nothing before
// and after: scripts reach the runner, too. A call hook of a script may come in between, and make
// protected calls of its own.
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

// Pushes the runner; -> its box, or null and nothing pushed.
Box* fetchRunner(lua_State* state) {
    lua_rawgeti(state, LUA_REGISTRYINDEX, kRunnerKey);
    if (lua_tocfunction(state, -1) != runCall) { // scripts reach the registry, too
        lua_pop(state, 1);
        return nullptr;
    }
    lua_getupvalue(state, -1, 1);
    auto* const box = static_cast<Box*>(lua_touserdata(state, -1));
    lua_pop(state, 1);
    return box;
}

// Pushes the runner, or an error message.
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
    box->call = outer; // nothing was collected since the runner left the stack
    return status;
}

// Converts nothing: that could raise.
const char* errorText(lua_State* state) {
    return lua_type(state, -1) == LUA_TSTRING ? lua_tostring(state, -1) : "unknown error";
}

} // namespace lua
