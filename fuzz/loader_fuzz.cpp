// The table loader over random tables and random calls, in any order: what begins need not end,
// what ends need not have begun, and the tables hold cycles, values of all types, and metatables
// whose functions raise errors. After any exception stack and path are as before.
#include "Lua/Loader.h"

#include <lua.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// The input; zeros when it is used up.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

    bool empty() const { return next_ == end_; }
    std::uint8_t take() { return empty() ? std::uint8_t{0} : *next_++; }

private:
    const std::uint8_t* next_;
    const std::uint8_t* end_;
};

// Few keys, so that they are met again; with dots and null bytes among them.
const std::string kNames[] = {"a", "b", "a.b", "", std::string("a\0b", 3), "METATABLE"};

Lua::Key keyOf(std::uint8_t byte) {
    if (byte % 2 == 0) {
        return byte % 16 / 2;
    }
    return kNames[byte / 2 % std::size(kNames)];
}

int raise(lua_State* state) {
    return luaL_error(state, "raised");
}

int raiseTable(lua_State* state) {
    lua_newtable(state);
    return lua_error(state);
}

// Changes the table while it is read.
int erase(lua_State* state) {
    for (lua_pushnil(state); lua_next(state, 1) != 0; lua_pop(state, 1)) {
        lua_pushvalue(state, -2);
        lua_pushnil(state);
        lua_rawset(state, 1);
    }
    return 1;
}

constexpr lua_CFunction kMetamethods[] = {raise, raiseTable, erase};

constexpr int kTables = 8;

// The tables lie at indices 1 to kTables meanwhile.
void pushValue(lua_State* state, Bytes& bytes) {
    static constexpr double kNumbers[] = {0, 1, -3.5, 1e300, 2147483648.0, 2.000000001};
    const std::uint8_t byte = bytes.take();
    switch (byte % 8) {
    case 0:
        lua_pushnumber(state, kNumbers[byte / 8 % std::size(kNumbers)]);
        break;
    case 1:
        lua_pushboolean(state, byte / 8 % 2);
        break;
    case 2:
        lua_pushlstring(state, "12\0x", byte / 8 % 5u);
        break;
    case 3:
        lua_pushcfunction(state, kMetamethods[byte / 8 % std::size(kMetamethods)]);
        break;
    case 4:
        lua_newuserdata(state, 1);
        break;
    default:
        lua_pushvalue(state, 1 + byte / 8 % kTables);
        break;
    }
}

void addEntry(lua_State* state, Bytes& bytes) {
    const int table = 1 + bytes.take() % kTables;
    const std::uint8_t key = bytes.take();
    if (key % 8 == 7) {
        pushValue(state, bytes); // a key of any type
    } else if (const Lua::Key name = keyOf(key); name.isText()) {
        lua_pushlstring(state, name.text().data(), name.text().size());
    } else {
        lua_pushnumber(state, name.index());
    }
    pushValue(state, bytes);
    lua_rawset(state, table);
}

void addMetatable(lua_State* state, Bytes& bytes) {
    const int table = 1 + bytes.take() % kTables;
    lua_newtable(state);
    for (const char* name : {"__index", "__newindex"}) {
        pushValue(state, bytes);
        lua_setfield(state, -2, name);
    }
    lua_setmetatable(state, table);
}

// The first table becomes the global "root".
int build(lua_State* state) {
    Bytes& bytes = *static_cast<Bytes*>(lua_touserdata(state, 1));
    lua_settop(state, 0);
    for (int i = 0; i < kTables; ++i) {
        lua_newtable(state);
    }
    for (int entries = bytes.take() % 64; entries > 0; --entries) {
        bytes.take() % 8 == 0 ? addMetatable(state, bytes) : addEntry(state, bytes);
    }
    lua_pushvalue(state, 1);
    lua_setglobal(state, "root");
    lua_settop(state, 0);
    return 0;
}

void read(Lua::Loader& loader, int call, Lua::Key key) {
    switch (call) {
    case 0:
        loader.getInt(key);
        break;
    case 1:
        loader.getDouble(key);
        break;
    case 2:
        loader.getBoolean(key);
        break;
    case 3:
        loader.getString(key);
        break;
    case 4:
        loader.getVector(key);
        break;
    case 5:
        loader.getQuaternion(key);
        break;
    case 6:
        loader.hasEntry(key);
        break;
    default:
        loader.getCurrentPath(key.index());
        break;
    }
}

void write(Lua::Loader& loader, int call, Lua::Key key) {
    switch (call) {
    case 0:
        loader.setInt(key, 5);
        break;
    case 1:
        loader.setDouble(key, 0.5);
        break;
    case 2:
        loader.setBoolean(key, true);
        break;
    case 3:
        loader.setString(key, kNames[4]);
        break;
    case 4:
        loader.setVector(key, {});
        break;
    case 5:
        loader.setQuaternion(key, {});
        break;
    case 6:
        loader.createGlobalTable(key.isText() ? std::string(key.text()) : "root");
        break;
    default:
        loader.newMetatable();
        break;
    }
}

void walk(Lua::Loader& loader, int call, Lua::Key key) {
    std::string name;
    switch (call) {
    case 0:
        loader.beginSubtable(key);
        break;
    case 1:
        loader.createSubtable(key);
        break;
    case 2:
        loader.endSubtable();
        break;
    case 3:
        loader.beginArray(key);
        break;
    case 4:
        loader.nextArray();
        break;
    case 5:
        loader.beginSubtables();
        break;
    case 6:
        loader.nextSubtable(name);
        break;
    case 7:
        loader.beginMetatable();
        break;
    case 8:
        loader.beginArray();
        break;
    default:
        loader.load("root");
        break;
    }
}

void callOne(Lua::Loader& loader, Bytes& bytes) {
    const std::uint8_t call = bytes.take();
    const Lua::Key key = keyOf(bytes.take());
    switch (call % 4) {
    case 0:
        read(loader, call / 4 % 8, key);
        break;
    case 1:
        write(loader, call / 4 % 8, key);
        break;
    default:
        walk(loader, call / 4 % 10, key);
        break;
    }
}

// What is on a stack, as far as values have identities.
std::vector<const void*> identities(lua_State* state) {
    std::vector<const void*> values;
    for (int i = 1; i <= lua_gettop(state); ++i) {
        values.push_back(lua_topointer(state, i));
    }
    return values;
}

void callAndCheck(Lua::Loader& loader, Bytes& bytes) {
    const std::vector<const void*> stack = identities(loader.getLuaState());
    const std::string path = loader.getCurrentPath();
    try {
        callOne(loader, bytes);
    } catch (const Lua::LoaderException&) {
        require(identities(loader.getLuaState()) == stack);
        require(loader.getCurrentPath() == path);
    }
    require(loader.getCurrentPath().empty() || lua_gettop(loader.getLuaState()) > 0);
}

} // namespace

// The input: a number of entries, the entries, then the calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    lua_State* const state = luaL_newstate();
    require(lua_cpcall(state, build, &bytes) == 0 || lua_gettop(state) == 1);
    lua_settop(state, 0);
    Lua::Loader loader(state);
    while (!bytes.empty()) {
        callAndCheck(loader, bytes);
    }
    lua_close(state);
    return 0;
}
