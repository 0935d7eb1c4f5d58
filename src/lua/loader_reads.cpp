#include "Lua/Loader.h"

#include "lua/field.h"
#include "lua/number.h"
#include "lua/protect.h"
#include "lua/unwind.h"

#include <lua.hpp>

#include <algorithm>
#include <cstddef>
#include <set>

// Records which entries were read. A table in the state's registry, `reads`, maps each table that
// was read from to the set of keys that were asked for.
namespace Lua {

namespace {

constexpr int kLevels = 32;
constexpr int kValuesOfALevel = 4; // the set of keys read, a key, its value, and a copy of the key

// T, reads -> T, reads, the set of T's keys, which is made if there is none. False, with another
// value pushed instead, if a script has replaced the set.
bool pushKeys(lua_State* state) {
    lua_pushvalue(state, 1);
    lua_rawget(state, 2);
    if (lua_isnil(state, -1)) {
        lua_pop(state, 1);
        lua_newtable(state);
        lua_pushvalue(state, 1);
        lua_pushvalue(state, -2);
        lua_rawset(state, 2);
    }
    return lua_istable(state, -1);
}

std::string keyText(lua_State* state, int index) {
    switch (lua_type(state, index)) {
    case LUA_TSTRING:
        return {lua_tostring(state, index), lua_objlen(state, index)};
    case LUA_TNUMBER:
        return std::string(lua::NumberText(lua_tonumber(state, index)).view());
    default:
        return std::string("[") + luaL_typename(state, index) + "]";
    }
}

// Goes through a table and the tables in it, by calls that raise no errors.
class Walk {
public:
    Walk(lua_State* state, int reads) : state_(state), reads_(reads) {}

    // Goes through the table on top of the stack.
    void go(const std::string& path, int levels) {
        if (levels == 0 || !visited_.insert(lua_topointer(state_, -1)).second) {
            return;
        }
        const int table = lua_gettop(state_);
        pushKeysRead(table);
        for (lua_pushnil(state_); lua_next(state_, table) != 0; lua_pop(state_, 1)) {
            const std::string entry = (path.empty() ? "" : path + ".") + keyText(state_, -2);
            if (!wasRead(table + 1)) {
                unread_.push_back(entry);
            } else if (lua_istable(state_, -1)) {
                go(entry, levels - 1);
            }
        }
        lua_settop(state_, table);
    }

    std::vector<std::string> unread() {
        std::sort(unread_.begin(), unread_.end());
        return std::move(unread_);
    }

private:
    // Pushes the set of keys that were read, or nil.
    void pushKeysRead(int table) {
        lua_rawgeti(state_, LUA_REGISTRYINDEX, reads_);
        if (lua_istable(state_, -1)) {
            lua_pushvalue(state_, table);
            lua_rawget(state_, -2);
            lua_remove(state_, -2);
        }
    }

    // Whether the set at `keys` has the key that is the second value from the top.
    bool wasRead(int keys) {
        if (!lua_istable(state_, keys)) {
            return false;
        }
        lua_pushvalue(state_, -2);
        lua_rawget(state_, keys);
        const bool found = lua_toboolean(state_, -1) != 0;
        lua_pop(state_, 1);
        return found;
    }

    lua_State* state_;
    int reads_;
    std::set<const void*> visited_;
    std::vector<std::string> unread_;
};

} // namespace

void Loader::trackReads() {
    reserve();
    forgetReads();
    reads_ = 0;
    const int status = lua::protect(state_, 0, 0, [this](lua_State* state) {
        lua_newtable(state);
        reads_ = luaL_ref(state, LUA_REGISTRYINDEX);
        return 0;
    });
    if (status != 0) {
        failWithLuaError("");
    }
}

// Clears the registry slot. It is not added to Lua's list of free slots: that takes memory.
void Loader::forgetReads() const {
    if (isTracking() && lua_checkstack(state_, 1) != 0) {
        lua_pushnil(state_);
        lua_rawseti(state_, LUA_REGISTRYINDEX, reads_);
    }
}

// Notes that `key` of the table at index `table` was read. Returns 0, or Lua's error code with the
// message pushed.
int Loader::noteRead(int table, const Key& key) const {
    if (!isTracking() || !lua_istable(state_, table)) {
        return 0;
    }
    lua_pushvalue(state_, table);
    return lua::protect(state_, 1, 0, [this, &key](lua_State* state) {
        lua_rawgeti(state, LUA_REGISTRYINDEX, reads_);
        if (lua_istable(state, -1) && pushKeys(state)) {
            lua::pushKey(state, key);
            lua_pushboolean(state, 1);
            lua_rawset(state, -3);
        }
        return 0;
    });
}

std::vector<std::string> Loader::getUnread() const {
    if (!isTracking()) {
        return {};
    }
    constexpr int kRoom = kLevels * kValuesOfALevel;
    reserve();
    const lua::Unwind unwind(state_);
    // Growing the stack may raise an error for lack of memory, so it is done in a protected call.
    // Then a second call only finds out whether the room is there.
    const auto makeRoom = [](lua_State* state) {
        lua_checkstack(state, kRoom);
        return 0;
    };
    if (lua::protect(state_, 0, 0, makeRoom) != 0) {
        failWithLuaError(getCurrentPath() + ": ");
    }
    if (lua_checkstack(state_, kRoom) == 0) {
        fail(getCurrentPath() + " is nested too deeply");
    }
    if (!lua_istable(state_, -1)) {
        return {};
    }
    Walk walk(state_, reads_);
    walk.go(getCurrentPath(), kLevels);
    return walk.unread();
}

} // namespace Lua
