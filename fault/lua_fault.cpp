// Lua: calls that run out of memory raise or throw as the headers say, and states stay usable.
#include "driver.h"

#include "Lua/Config.h"
#include "Lua/Loader.h"
#include "Lua/Serializer.h"
#include "Lua/State.h"

#include <lua.hpp>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

constexpr char kUnits[] = "units = { tank = { speed = 12.5, names = { 'a', 'b' } } }\n"
                          "video = { width = 1280 }\n";
const std::string kFile = "units.lua", kTable = "units", kTank = "tank", kSpeed = "speed";
double speed = 0;

// A stream that allocates nothing.
class Room : public std::streambuf {
public:
    Room() { setp(room_, room_ + sizeof room_); }
    std::size_t length() const { return static_cast<std::size_t>(pptr() - pbase()); }
    const char* text() const { return room_; }

private:
    char room_[4096] = {};
};

// Calls of the script libraries.
constexpr char kScript[] =
    "if log then print(1, {}, 'x') log.info('%d %s', 1, 'y') end\n" // Lua's own print would print
    "local f = io.open('script.txt', 'w') if f then f:write('a\\nb', 1) f:close() end\n"
    "f = io.open('script.txt') if f then f:read(1) f:read('*l') f:read('*a') f:close() end\n"
    "for name in lfs.dir('.') do lfs.attributes(name) end\n"
    "lfs.locations() lfs.normpath('a//b') os.remove('none') loadfile('none.lua')\n"
    "pcall(require, 'no.module')";

// The steps of a loader; one of them fails and the host continues.
const std::string kName(100, 'n'), kText(1000, 'x');
std::string found;
constexpr void (*kSteps[])(Lua::Loader&) = {
    [](Lua::Loader& loader) { loader.createGlobalTable(kName); },
    [](Lua::Loader& loader) { loader.trackReads(); },
    [](Lua::Loader& loader) { loader.createSubtable(kTank); },
    [](Lua::Loader& loader) { loader.setString(kText, kText); },
    [](Lua::Loader& loader) { loader.setVector(1, {}); },
    [](Lua::Loader& loader) { loader.getVector(1); },
    [](Lua::Loader& loader) { loader.getUnread(); },
    [](Lua::Loader& loader) { loader.endSubtable(); },
    [](Lua::Loader& loader) { loader.beginSubtables(); },
    [](Lua::Loader& loader) { loader.nextSubtable(found); },
};

// Calls the function like a script, in protected mode, where it may raise Lua errors.
bool protectedly(lua_State* state, lua_CFunction function, const char* what) {
    const int top = lua_gettop(state);
    const int status = lua_cpcall(state, function, nullptr);
    holds(status == 0 || status == LUA_ERRMEM || status == LUA_ERRRUN, "lua_cpcall");
    lua_settop(state, top);
    return step(status == 0, what);
}

int readSettings(lua_State* state) {
    Lua::Config config(state);
    if (step(config.tmpload("units.lua", false), "tmpload")) {
        int width = 0;
        config.get("video.width");
        holds(config.pop(&width) && width == 1280, "Config::get");
        config.create("new.deep");
        lua_pushnumber(state, 1);
        config.set("value");
    }
    step(config.dostring("assert(io.open('units.lua')):close()"), "dostring");
    return 0;
}

int copy(lua_State* state) {
    lua_getglobal(state, "units");
    QZ_lua_copyindex(state, state, -1);
    holds(lua_istable(state, -1) && !lua_rawequal(state, -1, -2), "QZ_lua_copyindex");
    return 0;
}

bool load(lua_State* state) {
    const int status = QZ_lua_loadfile(state, "units.lua");
    holds(status == 0 || status == LUA_ERRMEM || status == LUA_ERRFILE || status == LUA_ERRSYNTAX,
          "QZ_lua_loadfile");
    const bool ran =
        step(status == 0, "QZ_lua_loadfile") && step(lua_pcall(state, 0, 0, 0) == 0, "the file");
    lua_settop(state, 0);
    return ran;
}

void readTables(lua_State* state) {
    Lua::Loader loader(state);
    try {
        loader.load(kFile, kTable);
        loader.trackReads();
        loader.beginSubtable(kTank);
        speed = loader.getDouble(kSpeed);
        holds(speed == 12.5, "Loader::getDouble");
        loader.endSubtable();
        const std::vector<std::string> unread = loader.getUnread();
        holds(unread.size() == 1 && unread[0] == "units.tank.names", "Loader::getUnread");
    } catch (const Lua::LoaderException&) {
        step(false, "Loader");
    } catch (const std::bad_alloc&) {
        step(false, "Loader, without memory for a message");
    }
    lua_settop(state, 0);
}

void makeTables(lua_State* state) {
    lua_pushvalue(state, LUA_GLOBALSINDEX);
    {
        Lua::Loader loader(state);
        for (const auto act : kSteps) {
            const int top = lua_gettop(state);
            try {
                act(loader);
                continue;
            } catch (const Lua::LoaderException&) {
                holds(lua_gettop(state) == top, "the stack after an exception");
            } catch (const std::bad_alloc&) {
                holds(lua_gettop(state) == top, "the stack after std::bad_alloc");
            }
            step(false, "a step of a loader");
        }
    }
    lua_settop(state, 0);
}

void save(lua_State* state) {
    Room room;
    std::ostream out(&room);
    try {
        Lua::Serializer(out).serialize(state, kTable);
        if (step(lua_gettop(state) == 0, "Serializer")) {
            whole(std::strstr(room.text(), "[\"speed\"] = 12.5") != nullptr && room.length() > 60,
                  "a saved table");
        }
    } catch (const Lua::SerializerException&) {
        step(false, "Serializer");
    } catch (const std::bad_alloc&) {
        step(false, "Serializer, without memory for a message");
    }
    lua_settop(state, 0);
}

} // namespace

void prepare() {
    writeFile(kFile, kUnits);
}

void work() {
    lua_State* const state = QZ_lua_open("fault");
    if (!step(state != nullptr, "QZ_lua_open")) {
        return;
    }
    QZ_lua_openlibs(state);
    if (protectedly(
            state, [](lua_State* s) { return luaL_loadstring(s, "assert(log and lfs)"); },
            "libraries")) {
        protectedly(state, readSettings, "Config");
        if (load(state)) {
            protectedly(state, copy, "QZ_lua_copyindex");
            save(state);
        }
        readTables(state);
        makeTables(state);
        protectedly(
            state, [](lua_State* s) { return luaL_dostring(s, kScript) != 0 ? lua_error(s) : 0; },
            "a script");
    }
    QZ_lua_close(state);
}

void finish() {}
