#include "Lua/Loader.h"

#include "lua/field.h"
#include "lua/protect.h"
#include "lua/truncate.h"
#include "lua/unwind.h"

#include <lua.hpp>

#include <climits>
#include <cstddef>

// Enters tables and iterates over them. Comments such as `T -> T, value` show the top of the Lua
// stack before and after a call.
namespace Lua {

namespace {

void pushZero(lua_State* state) {
    lua_pushnumber(state, 0);
}

// T -> T, value, which is created as a table if there was none. Or T -> T, message, and returns
// Lua's error code.
int createField(lua_State* state, const Key& key) {
    lua_pushvalue(state, -1);
    return lua::protect(state, 1, 1, [&key](lua_State* inner) {
        lua::pushKey(inner, key);
        lua_gettable(inner, 1);
        if (lua_isnil(inner, -1)) {
            lua_newtable(inner);
            lua::pushKey(inner, key);
            lua_pushvalue(inner, -2);
            lua_settable(inner, 1);
        }
        return 1;
    });
}

// T, position, element -> T, position, element, T[index], which may be nil. Or pushes a message and
// returns Lua's error code.
int pushElement(lua_State* state, int index) {
    lua_pushvalue(state, -3);
    const int status = lua::pushField(state, index);
    lua_remove(state, -2);
    return status;
}

// T, key, element -> T, key, element, next key, next element; pushes nothing at the end, or if T is
// no table. Or pushes a message and returns Lua's error code.
int pushNext(lua_State* state) {
    lua_pushvalue(state, -3);
    lua_pushvalue(state, -3);
    return lua::protect(state, 2, LUA_MULTRET, [](lua_State* inner) {
        return lua_istable(inner, 1) && lua_next(inner, 1) != 0 ? 2 : 0;
    });
}

int pushMetatable(lua_State* state) {
    return lua_istable(state, -1) ? lua_getmetatable(state, -1) : 0;
}

} // namespace

void Loader::beginSubtable(Key key) {
    pushEntry(key, LUA_TTABLE);
    enter(key, 1);
}

void Loader::createSubtable(Key key) {
    reserve();
    check(noteRead(-1, key), key);
    check(createField(state_, key), key);
    checkEntry(key, LUA_TTABLE);
    enter(key, 1);
}

void Loader::endSubtable() {
    if (!path_.empty()) {
        lua_pop(state_, 1);
        path_.pop_back();
    }
}

// T -> T, start, nil.
void Loader::beginIteration(const char* component, void (*pushStart)(lua_State*)) {
    reserve();
    pushStart(state_);
    lua_pushnil(state_);
    enter(component, 2);
}

// An iteration has the table, its position and the element on the stack.
bool Loader::isIterating() const {
    return state_ != nullptr && !path_.empty() && lua_gettop(state_) >= 3;
}

bool Loader::endIteration() {
    lua_pop(state_, 2);
    path_.pop_back();
    return false;
}

void Loader::beginArray(Key key) {
    beginSubtable(key);
    try {
        beginArray();
    } catch (...) {
        endSubtable();
        throw;
    }
}

void Loader::beginArray() {
    beginIteration("0", pushZero);
}

bool Loader::nextArray() {
    if (!isIterating() || lua_type(state_, -2) != LUA_TNUMBER) {
        return false;
    }
    reserve();
    const lua::Unwind unwind(state_);
    const int last = lua::truncate<int>(lua_tonumber(state_, -2));
    if (last == INT_MAX) { // a metatable may have a value for every index
        return endIteration();
    }
    const std::string index = std::to_string(last + 1);
    if (noteRead(-3, last + 1) != 0 || pushElement(state_, last + 1) != 0) {
        failWithLuaError(iteratedPath() + "." + index + ": ");
    }
    if (lua_isnil(state_, -1)) {
        lua_pop(state_, 1);
        return endIteration();
    }
    lua_replace(state_, -2);
    lua_pushnumber(state_, last + 1);
    lua_replace(state_, -3);
    path_.back() = index;
    return true;
}

void Loader::beginSubtables() {
    beginIteration("", lua_pushnil);
}

bool Loader::nextSubtable(std::string& name) {
    if (!isIterating()) {
        return false;
    }
    reserve();
    const lua::Unwind unwind(state_);
    const int before = lua_gettop(state_);
    if (pushNext(state_) != 0) {
        failWithLuaError(iteratedPath() + ": ");
    }
    if (lua_gettop(state_) == before) {
        return endIteration();
    }
    if (lua_type(state_, -2) != LUA_TSTRING) {
        failStep("Not a string key in table: ");
    }
    if (!lua_istable(state_, -1)) {
        failStep("Not a subtable element in table ");
    }
    std::size_t length = 0;
    const char* const key = lua_tolstring(state_, -2, &length);
    if (noteRead(-5, std::string_view(key, length)) != 0) {
        failWithLuaError(iteratedPath() + ": ");
    }
    name.assign(key, length);
    path_.back() = name;
    lua_replace(state_, -3);
    lua_replace(state_, -3);
    return true;
}

// Pops the next key and value, then fails.
void Loader::failStep(const char* what) const {
    lua_pop(state_, 2);
    fail(what + iteratedPath());
}

void Loader::beginMetatable() {
    reserve();
    if (pushMetatable(state_) == 0) {
        fail("No metatable at " + getCurrentPath());
    }
    enter("METATABLE", 1);
}

void Loader::newMetatable() {
    reserve();
    const lua::Unwind unwind(state_);
    if (!lua_istable(state_, -1)) {
        fail("No metatable at " + getCurrentPath());
    }
    lua_pushvalue(state_, -1);
    const int status = lua::protect(state_, 1, 1, [](lua_State* state) {
        lua_newtable(state);
        lua_pushvalue(state, -1);
        lua_setmetatable(state, 1);
        return 1;
    });
    if (status != 0) {
        failWithLuaError(getCurrentPath() + ": ");
    }
    enter("METATABLE", 1);
}

} // namespace Lua
