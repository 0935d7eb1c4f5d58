#include "Lua/Config.h"

#include "Lua/Key.h"
#include "core/library_log.h"
#include "lua/field.h"
#include "lua/protect.h"

#include <lua.hpp>

#include <cstring>
#include <string_view>

// Opens, makes and changes tables. config_load.cpp runs files, config_values.cpp reads values.
//
// Comments such as `T -> T, value` show the top of the Lua stack before and after a call.
namespace Lua {

namespace {

// Takes the first key off a path. Takes nothing and returns false if only one key is left.
bool takeKey(const char*& path, std::string_view& key) {
    const char* const dot = std::strchr(path, '.');
    if (dot == nullptr) {
        return false;
    }
    key = std::string_view(path, static_cast<std::size_t>(dot - path));
    path = dot + 1;
    return true;
}

// Pushes nil. Reading hostile data of any depth must not raise an error, so an entry that is too
// deep for the stack counts as missing, too.
void pushMissing(lua_State* state) {
    lua::reserve(state, 1);
    lua_pushnil(state);
}

void logCallError(const char* a, const char* b) {
    qz_logf("Lua::Config", QZ_LOG_ERROR, "Call error %s:%s.", a, b);
}

// T, nil -> T, value. Returns the value's type.
int replaceByInherited(lua_State* state, const Key& key) {
    if (lua_getmetatable(state, -2) == 0) {
        return LUA_TNIL;
    }
    lua_pop(state, 2);
    if (lua::pushField(state, key) != 0) {
        const char* const error = lua::errorText(state);
        lua::pushKey(state, key);
        logCallError(lua_tostring(state, -1), error);
        lua_pop(state, 2);
        lua_pushnil(state);
    }
    return lua_type(state, -1);
}

// T -> T, value; nil if there is none. T is a table. Returns the value's type. An entry of the
// table itself, the usual case, takes neither a protected call nor a look at the metatable.
int pushEntry(lua_State* state, const Key& key) {
    lua::pushKey(state, key);
    lua_rawget(state, -2);
    const int type = lua_type(state, -1);
    return type != LUA_TNIL ? type : replaceByInherited(state, key);
}

// Finds the table that the path's last key belongs to. T -> T, that table; leaves only the last key
// in `path` and returns true. Or T -> T and false if the table is missing.
bool pushContainer(lua_State* state, const char*& path) {
    path = path != nullptr ? path : "";
    if (!lua_istable(state, -1)) {
        return false;
    }
    lua_pushvalue(state, -1);
    for (std::string_view key; takeKey(path, key);) {
        if (pushEntry(state, key) != LUA_TTABLE) {
            lua_pop(state, 2);
            return false;
        }
        lua_replace(state, -2);
    }
    return true;
}

// T -> T, value; nil if there is none.
void pushValue(lua_State* state, const Key& key) {
    if (lua_checkstack(state, lua::kRoom) != 0 && lua_istable(state, -1)) {
        pushEntry(state, key);
    } else {
        pushMissing(state);
    }
}

// T -> T, value; a missing value is created as a table.
void createEntry(lua_State* state, const Key& key) {
    lua::pushKey(state, key);
    lua_gettable(state, -2);
    if (!lua_isnil(state, -1)) {
        return;
    }
    lua_pop(state, 1);
    lua_newtable(state);
    lua::pushKey(state, key);
    lua_pushvalue(state, -2);
    lua_settable(state, -4);
}

// Pushes the table that the last key of a path belongs to, starting from the table at `index`, and
// creates missing tables. Returns the last key.
Key createContainer(lua_State* state, int index, const char* path) {
    path = path != nullptr ? path : "";
    lua_pushvalue(state, index);
    for (std::string_view key; takeKey(path, key);) {
        createEntry(state, key);
        lua_remove(state, -2);
    }
    return path;
}

// T, table -> T, table, and true; or T, another value -> T, and false.
bool keepTable(lua_State* state) {
    if (lua_istable(state, -1)) {
        return true;
    }
    lua_pop(state, 1);
    return false;
}

} // namespace

void Config::call_log(const char* a, const char* b) const {
    logCallError(a, b);
}

void Config::get(const char* path) {
    if (lua_checkstack(state_, lua::kRoom) != 0 && pushContainer(state_, path)) {
        pushEntry(state_, path);
        lua_replace(state_, -2);
    } else {
        pushMissing(state_);
    }
}

void Config::get(int index) {
    pushValue(state_, index);
}

bool Config::open(const char* path) {
    get(path);
    return keepTable(state_);
}

bool Config::open(int index) {
    get(index);
    return keepTable(state_);
}

bool Config::open_raw(const char* name) {
    pushValue(state_, name);
    return keepTable(state_);
}

void Config::create(const char* path) {
    lua::reserve(state_);
    const Key key = createContainer(state_, -1, path);
    createEntry(state_, key);
    lua_remove(state_, -2);
}

void Config::create(int index) {
    lua::reserve(state_);
    createEntry(state_, index);
}

void Config::create_raw(const char* name) {
    lua::reserve(state_);
    createEntry(state_, name);
}

void Config::set(const char* path) {
    lua::reserve(state_);
    const Key key = createContainer(state_, -2, path);
    lua::pushKey(state_, key);
    lua_pushvalue(state_, -3);
    lua_settable(state_, -3);
    lua_pop(state_, 2);
}

void Config::set(int index) {
    lua::reserve(state_);
    lua_pushnumber(state_, index);
    lua_insert(state_, -2);
    lua_settable(state_, -3);
}

void Config::unset(const char* path) {
    if (lua_checkstack(state_, lua::kRoom) == 0 || !pushContainer(state_, path)) {
        return;
    }
    const int status = lua::protect(state_, 1, 0, [key = Key(path)](lua_State* state) {
        lua::pushKey(state, key);
        lua_pushnil(state);
        lua_settable(state, 1);
        return 0;
    });
    if (status != 0) {
        call_log(path, lua::errorText(state_));
        lua_pop(state_, 1);
    }
}

} // namespace Lua
