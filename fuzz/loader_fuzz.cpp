// The table loader over random tables with random calls, in any order: begin and end need not
// match. The tables have cycles, values of all types, and metatables whose functions raise errors.
// After any exception stack and path must be as before.
#include "require.h"

#include "Lua/Loader.h"

#include <lua.hpp>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

namespace {

// Reads the input; returns zeros at its end.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

    bool empty() const { return next_ == end_; }
    std::uint8_t take() { return empty() ? std::uint8_t{0} : *next_++; }

private:
    const std::uint8_t* next_;
    const std::uint8_t* end_;
};

// Few keys, so that the calls find them; some have dots and null bytes.
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

// The tables must be at indices 1 to kTables.
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

using Call = void (*)(Lua::Loader& loader, const Lua::Key& key);

constexpr Call kCalls[] = {
    [](auto& loader, auto& key) { loader.getInt(key); },
    [](auto& loader, auto& key) { loader.getDouble(key); },
    [](auto& loader, auto& key) { loader.getBoolean(key); },
    [](auto& loader, auto& key) { loader.getString(key); },
    [](auto& loader, auto& key) { loader.getVector(key); },
    [](auto& loader, auto& key) { loader.getQuaternion(key); },
    [](auto& loader, auto& key) { loader.hasEntry(key); },
    [](auto& loader, auto& key) { loader.getCurrentPath(key.index()); },
    [](auto& loader, auto& key) { loader.setInt(key, 5); },
    [](auto& loader, auto& key) { loader.setDouble(key, 0.5); },
    [](auto& loader, auto& key) { loader.setBoolean(key, true); },
    [](auto& loader, auto& key) { loader.setString(key, kNames[4]); },
    [](auto& loader, auto& key) { loader.setVector(key, {}); },
    [](auto& loader, auto& key) { loader.setQuaternion(key, {}); },
    [](auto& loader, auto& key) { loader.createGlobalTable(std::string(key.text())); },
    [](auto& loader, auto& key) { loader.beginSubtable(key); },
    [](auto& loader, auto& key) { loader.createSubtable(key); },
    [](auto& loader, auto& /*key*/) { loader.endSubtable(); },
    [](auto& loader, auto& key) { loader.beginArray(key); },
    [](auto& loader, auto& /*key*/) { loader.beginArray(); },
    [](auto& loader, auto& /*key*/) { loader.nextArray(); },
    [](auto& loader, auto& /*key*/) { loader.beginSubtables(); },
    [](auto& loader, auto& /*key*/) {
        std::string name;
        loader.nextSubtable(name);
    },
    [](auto& loader, auto& /*key*/) { loader.beginMetatable(); },
    [](auto& loader, auto& /*key*/) { loader.newMetatable(); },
    [](auto& loader, auto& /*key*/) { loader.load("root"); },
};

void callOne(Lua::Loader& loader, Bytes& bytes) {
    const Call call = kCalls[bytes.take() % std::size(kCalls)];
    call(loader, keyOf(bytes.take()));
}

// The contents of a stack, for values that have identities.
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
