#include "Lua/State.h"
#include "core/ascii.h"
#include "core/library_log.h"
#include "lua/name.h"
#include "lua/number.h"

#include <lua.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

constexpr char kMetatable[] = "QZ.log";
constexpr unsigned int kDefaultLevel = QZ_LOG_ERROR;

// Calls the global string.format. Runs protected, with the format and the values as arguments:
// scripts may have replaced or removed it, or guard their globals with a metatable.
int format(lua_State* state) {
    lua_getglobal(state, "string");
    lua_getfield(state, -1, "format");
    lua_remove(state, -2);
    lua_insert(state, 1);
    lua_call(state, lua_gettop(state) - 1, 1);
    return 1;
}

// The upvalues of each logging function: the level bound to it, and `format`, so that a call
// allocates nothing of its own.
constexpr int kBoundLevel = lua_upvalueindex(1);
constexpr int kFormat = lua_upvalueindex(2);

// The text made of the format at index `first` and the values behind it. If formatting fails, the
// format itself; null if that is no text.
const char* formatted(lua_State* state, int first) {
    const int arguments = lua_gettop(state) - first + 1;
    lua_pushvalue(state, first);
    lua_insert(state, first);
    lua_pushvalue(state, kFormat);
    lua_insert(state, first + 1);
    const bool filled = lua_pcall(state, arguments, 1, 0) == 0 && lua_isstring(state, -1) != 0;
    return lua_tostring(state, filled ? -1 : first);
}

// A number that cannot be a level counts as 0.
unsigned int levelOf(lua_Number number) {
    constexpr lua_Number kLimit = 4294967296.0;
    return number > -kLimit && number < kLimit
               ? static_cast<unsigned int>(static_cast<std::int64_t>(number))
               : 0;
}

int logMessage(lua_State* state) {
    const bool levelGiven = lua_type(state, 1) == LUA_TNUMBER; // not text that reads like a number
    const int first = levelGiven ? 2 : 1;
    const unsigned int level = levelOf(lua_tonumber(state, levelGiven ? 1 : kBoundLevel));
    lua::numberToText(state, first);
    const char* const message =
        lua_gettop(state) > first ? formatted(state, first) : lua_tostring(state, first);
    qz_log(lua::pushName(state, lua::kNameless), level != 0 ? level : kDefaultLevel, message);
    return 0;
}

// log(...): Lua passes the log table itself as the first argument.
int callLog(lua_State* state) {
    if (lua_gettop(state) > 0) { // scripts can also call it directly, out of the metatable
        lua_remove(state, 1);
    }
    return logMessage(state);
}

int setOutput(lua_State* state) {
    luaL_argcheck(state, !lua_isnoneornil(state, 1), 1, "logname should be provided");
    const char* const name = luaL_checkstring(state, 1);
    const char* const filter = luaL_checkstring(state, 2);
    qz_log_set_output(name, filter, static_cast<unsigned int>(luaL_checkinteger(state, 3)));
    return 0;
}

// Sets a field of the table on top of the stack to a logging function.
void setFunction(lua_State* state, const char* field, lua_CFunction function, unsigned int level) {
    lua_pushnumber(state, level);
    lua_pushcfunction(state, format);
    lua_pushcclosure(state, function, 2);
    lua_setfield(state, -2, field);
}

void setConstant(lua_State* state, const char* name, unsigned int value) {
    lua_pushnumber(state, value);
    lua_setfield(state, -2, name);
}

// Level "ERROR" gets the constant log.ERROR and the function log.error; TRACE gets only a constant.
void setLevel(lua_State* state, const qz_log_level& level) {
    setConstant(state, level.name, level.flag);
    if ((level.flag & QZ_LOG_ALL) != 0) {
        char name[16] = "";
        std::transform(level.name, level.name + std::strlen(level.name), name, core::lowerAscii);
        setFunction(state, name, logMessage, level.flag);
    }
}

constexpr luaL_Reg kFunctions[] = {{"set_output", setOutput}, {nullptr, nullptr}};

} // namespace

int QZ_luaopen_log(lua_State* state) {
    luaL_register(state, "log", kFunctions);
    setFunction(state, "printf", logMessage, 0);
    for (const qz_log_level* level = qz_log_levels(); level->name != nullptr; ++level) {
        setLevel(state, *level);
    }
    setConstant(state, "ALL", QZ_LOG_ALL);
    luaL_newmetatable(state, kMetatable);
    setFunction(state, "__call", callLog, QZ_LOG_INFO);
    lua_setmetatable(state, -2);
    return 1;
}
