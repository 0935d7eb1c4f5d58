#include "Lua/Config.h"

#include "Lua/State.h"
#include "core/library_log.h"
#include "lua/chunk.h"
#include "lua/protect.h"

#include <lua.hpp>

#include <algorithm>
#include <cstring>

namespace Lua {

namespace {

constexpr char kModule[] = "Lua::Config";
constexpr int kNameLimit = 255; // bytes of a text that stand for its name

const char* nameOf(const char* file) {
    return file != nullptr ? file : "<NULL>";
}

// These three log the error message on top of the stack, and pop it.

bool failLoad(lua_State* state, const char* name, int length) {
    qz_logf(kModule, QZ_LOG_ERROR, "load error %.*s:%s.", length, name, lua::errorText(state));
    lua_pop(state, 1);
    return false;
}

bool failLoad(lua_State* state, const char* file) {
    return failLoad(state, nameOf(file), -1); // a negative precision cuts nothing
}

bool failRun(lua_State* state, const char* name, int length) {
    qz_logf(kModule, QZ_LOG_ERROR, "Lua error %s in \"%.*s\"", lua::errorText(state), length, name);
    lua_pop(state, 1);
    return false;
}

// Runs the chunk on top of the stack. If loading it has failed, there is a message instead.
bool run(lua_State* state, int loadStatus, int results) {
    return loadStatus == 0 && lua_pcall(state, 0, results, 0) == 0;
}

int loadText(lua_State* state, const char* text) {
    if (text == nullptr) {
        lua_pushliteral(state, "no text given");
        return LUA_ERRSYNTAX;
    }
    return lua::loadChunk(state, text, text);
}

// How much of a text stands for it in the log: its first line, up to kNameLimit bytes.
int nameLength(const char* text) {
    int length = 0;
    while (length < kNameLimit && std::strchr("\r\n", text[length]) == nullptr) { // NUL included
        ++length;
    }
    return length;
}

// The `dofile` of chunks that run in a table of their own. The table is the upvalue.
int dofileInTable(lua_State* state) {
    return lua::dofile(state, lua_upvalueindex(1));
}

// Lets chunks that run in the table at an index see the state's globals.
void giveGlobals(lua_State* state, int table) {
    lua_pushvalue(state, table);
    lua_setfield(state, table, "_G");
    lua_pushvalue(state, table);
    lua_pushcclosure(state, dofileInTable, 1);
    lua_setfield(state, table, "dofile");
    lua_newtable(state);
    lua_pushvalue(state, LUA_GLOBALSINDEX);
    lua_setfield(state, -2, "__index");
    lua_setmetatable(state, table);
}

// table, chunk -> table, and true; or table, message, and false. If loading the chunk has failed,
// its message is on the stack instead, and stays.
bool runInTable(lua_State* state, int loadStatus, bool withGlobals) {
    if (loadStatus != 0) {
        return false;
    }
    const int table = lua_gettop(state) - 1;
    if (withGlobals) {
        giveGlobals(state, table);
    }
    lua_pushvalue(state, table);
    lua_setfenv(state, -2);
    return lua_pcall(state, 0, 0, 0) == 0;
}

} // namespace

bool Config::load(const char* file) {
    lua::reserve(state_);
    return run(state_, QZ_lua_loadfile(state_, file), LUA_MULTRET) || failLoad(state_, file);
}

bool Config::dofile(const char* file) {
    lua::reserve(state_);
    return run(state_, QZ_lua_loadfile(state_, file), LUA_MULTRET) ||
           failRun(state_, nameOf(file), -1);
}

bool Config::dostring(const char* text) {
    lua::reserve(state_);
    if (run(state_, loadText(state_, text), LUA_MULTRET)) {
        return true;
    }
    const char* const name = nameOf(text);
    return failRun(state_, name, nameLength(name));
}

bool Config::tmpload(const char* file, bool withGlobals) {
    lua::reserve(state_);
    lua_newtable(state_);
    if (runInTable(state_, QZ_lua_loadfile(state_, file), withGlobals)) {
        return true;
    }
    failLoad(state_, file);
    lua_pop(state_, 1);
    return false;
}

bool Config::tmpload_buf(const char* buffer, std::uint64_t size, bool withGlobals) {
    constexpr std::uint64_t kMore = 4096; // more than a line of the log can hold
    if (buffer == nullptr) {
        buffer = "";
        size = 0;
    }
    lua::reserve(state_);
    lua_newtable(state_);
    if (runInTable(state_, lua::loadChunk(state_, {buffer, size}, nullptr), withGlobals)) {
        return true;
    }
    failLoad(state_, buffer, static_cast<int>(std::min(size, kMore)));
    lua_pop(state_, 1);
    return false;
}

} // namespace Lua
