#include "Lua/State.h"
#include "core/library_log.h"
#include "lua/name.h"

#include <lua.hpp>

namespace {

constexpr int kMaxDepth = 1000;

// Copies values between two states, which may be the same. A value is removed from the source's
// stack by its index, not popped, because the copy may be above it.
struct Copier {
    lua_State* destination;
    lua_State* source;
    const char* failure = nullptr;

    // Pushes a copy of the value at `index`, or if that is a table, of the table on top of the
    // source. On failure sets `failure` and returns false; both stacks then hold leftovers.
    bool copy(int index, int depth) {
        switch (lua_type(source, index)) {
        case LUA_TBOOLEAN:
            lua_pushboolean(destination, lua_toboolean(source, index));
            return true;
        case LUA_TNUMBER:
            lua_pushnumber(destination, lua_tonumber(source, index));
            return true;
        case LUA_TSTRING:
            lua_pushstring(destination, lua_tostring(source, index));
            return true;
        case LUA_TTABLE:
            return lua_istable(source, -1) ? copyTable(depth) : fail("no table is on top");
        default:
            lua_pushnil(destination);
            return true;
        }
    }

private:
    bool fail(const char* reason) {
        failure = reason;
        return false;
    }

    bool copyTable(int depth) {
        if (depth == kMaxDepth) {
            return fail("the table contains itself or is nested too deeply");
        }
        // A level takes at most three slots on each stack, and both may be the same stack.
        if (lua_checkstack(source, 6) == 0 || lua_checkstack(destination, 6) == 0) {
            return fail("no room on the Lua stack");
        }
        const int table = lua_gettop(source);
        lua_newtable(destination);
        const int result = lua_gettop(destination);
        lua_pushnil(source);
        while (lua_next(source, table) != 0) {
            if (!copyEntry(result, depth)) {
                return false;
            }
        }
        return true;
    }

    // The key and the value are on top of the source. Leaves the key there for lua_next.
    bool copyEntry(int result, int depth) {
        const int key = lua_gettop(source) - 1;
        const int value = key + 1;
        if (!copyPushed(key, depth)) {
            return false;
        }
        if (lua_isnil(destination, -1)) {
            lua_pop(destination, 1); // nil cannot be a key
        } else if (copyPushed(value, depth)) {
            lua_settable(destination, result);
        } else {
            return false;
        }
        lua_settop(source, key);
        return true;
    }

    // Pushes the value to the top of the source first, where `copy` expects a table.
    bool copyPushed(int index, int depth) {
        lua_pushvalue(source, index);
        const int pushed = lua_gettop(source);
        if (!copy(-1, depth + 1)) {
            return false;
        }
        lua_remove(source, pushed);
        return true;
    }
};

void logFailure(lua_State* destination, const char* reason) {
    qz_logf(lua::pushName(destination, lua::kNameless), QZ_LOG_ERROR, "QZ_lua_copyindex: %s",
            reason);
    lua_pop(destination, 1);
}

} // namespace

void QZ_lua_copyindex(lua_State* destination, lua_State* source, int index) {
    luaL_checkstack(destination, 2, "no room for a copy");
    const int destinationTop = lua_gettop(destination);
    const int sourceTop = lua_gettop(source);
    Copier copier{destination, source};
    if (copier.copy(index, 0)) {
        return;
    }
    lua_settop(source, sourceTop);
    lua_settop(destination, destinationTop);
    logFailure(destination, copier.failure);
    lua_pushnil(destination);
}
