#include "Lua/Config.h"

#include "Lua/Key.h"
#include "Lua/State.h"
#include "core/log.h"
#include "lua/field.h"
#include "lua/protect.h"
#include "lua/truncate.h"

#include <lua.hpp>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace Lua {

namespace {

constexpr char kModule[] = "Lua::Config";
constexpr int kNameLimit = 255; // of a text that has no name

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

// Runs the chunk on top of the stack, if loading it has succeeded; else a message is there already.
bool run(lua_State* state, int loadStatus, int results) {
    return loadStatus == 0 && lua_pcall(state, 0, results, 0) == 0;
}

int loadText(lua_State* state, const char* text) {
    if (text == nullptr) {
        lua_pushliteral(state, "no text given");
        return LUA_ERRSYNTAX;
    }
    return luaL_loadstring(state, text);
}

// The length of the part that stands for a text in the log.
int nameLength(const char* text) {
    int length = 0;
    while (length < kNameLimit && std::strchr("\r\n", text[length]) == nullptr) { // NUL included
        ++length;
    }
    return length;
}

// The dofile of chunks that run in a table of their own, the upvalue.
int dofileInTable(lua_State* state) {
    const int before = lua_gettop(state);
    if (QZ_lua_loadfile(state, luaL_optstring(state, 1, nullptr)) != 0) {
        return lua_error(state);
    }
    lua_pushvalue(state, lua_upvalueindex(1));
    lua_setfenv(state, -2);
    lua_call(state, 0, LUA_MULTRET);
    return lua_gettop(state) - before;
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

// table, chunk -> table; or table, message and false. In place of the chunk there is a message
// already if loading it has failed.
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

// Takes the first key off a path of several; false, and takes nothing, if only one is left.
bool takeKey(const char*& path, std::string_view& key) {
    const char* const dot = std::strchr(path, '.');
    if (dot == nullptr) {
        return false;
    }
    key = std::string_view(path, static_cast<std::size_t>(dot - path));
    path = dot + 1;
    return true;
}

void reserve(lua_State* state, int room = lua::kRoom) {
    luaL_checkstack(state, room, "too many open tables");
}

// Reading hostile data to any depth must not raise, so what lies too deep for the stack is missing,
// too.
void pushMissing(lua_State* state) {
    reserve(state, 1);
    lua_pushnil(state);
}

void logCallError(const char* a, const char* b) {
    qz_logf(kModule, QZ_LOG_ERROR, "Call error %s:%s.", a, b);
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

// T -> T, value; nil if there is none. T is a table. Returns the value's type. What a table holds
// itself, which is nearly always all, takes neither a protected call nor a look at its metatable.
int pushEntry(lua_State* state, const Key& key) {
    lua::pushKey(state, key);
    lua_rawget(state, -2);
    const int type = lua_type(state, -1);
    return type != LUA_TNIL ? type : replaceByInherited(state, key);
}

// T -> T, the table that the path's last key leads into, and true, with that key left as the path;
// or T -> T and false if it is missing.
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

// T -> T, value; a missing one is made as a table.
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

// Pushes the table that the last key of a path leads into, starting from the one at `index`;
// returns that key.
Key createContainer(lua_State* state, int index, const char* path) {
    path = path != nullptr ? path : "";
    lua_pushvalue(state, index);
    for (std::string_view key; takeKey(path, key);) {
        createEntry(state, key);
        lua_remove(state, -2);
    }
    return path;
}

// T -> T, value -> T, table or T.
bool keepTable(lua_State* state) {
    if (lua_istable(state, -1)) {
        return true;
    }
    lua_pop(state, 1);
    return false;
}

bool convert(lua_State* state, bool* output) {
    if (!lua_isboolean(state, -1)) {
        return false;
    }
    *output = lua_toboolean(state, -1) != 0;
    return true;
}

bool convert(lua_State* state, std::string* output) {
    if (lua_isstring(state, -1) == 0) {
        return false;
    }
    std::size_t length = 0;
    const char* const text = lua_tolstring(state, -1, &length);
    output->assign(text, length);
    return true;
}

template<class Number>
void assign(Number* output, lua_Number number) {
    if constexpr (std::is_floating_point_v<Number>) {
        *output = static_cast<Number>(number);
    } else if constexpr (std::is_same_v<Number, int>) {
        *output = lua::truncate<int>(number);
    } else {
        *output = static_cast<Number>(lua::truncate<std::int64_t>(number));
    }
}

template<class Number>
bool convert(lua_State* state, Number* output) {
    if (lua_isnumber(state, -1) == 0) {
        return false;
    }
    assign(output, lua_tonumber(state, -1));
    return true;
}

template<class Value>
bool convertAndPop(lua_State* state, Value* output) {
    const bool converted = convert(state, output);
    lua_pop(state, 1);
    return converted;
}

template<class Component>
bool convertEntry(lua_State* state, Component* output) {
    const bool isNumber = lua_type(state, -1) == LUA_TNUMBER;
    if (isNumber) {
        assign(output, lua_tonumber(state, -1));
    }
    lua_pop(state, 1);
    return isNumber;
}

// table -> nothing. Vectors are known here as memory only; what the classes are like is the host's
// business.
template<class Component, std::size_t count>
bool popVector(lua_State* state, Config& config, void* output) {
    Component values[count];
    bool complete = lua_istable(state, -1);
    int index = 0;
    for (Component& value : values) {
        if (complete) {
            config.get(++index);
            complete = convertEntry(state, &value);
        }
    }
    lua_pop(state, 1);
    if (complete) {
        std::memcpy(output, values, sizeof values);
    }
    return complete;
}

} // namespace

bool Config::load(const char* file) {
    reserve(state_);
    return run(state_, QZ_lua_loadfile(state_, file), LUA_MULTRET) || failLoad(state_, file);
}

bool Config::dofile(const char* file) {
    reserve(state_);
    return run(state_, QZ_lua_loadfile(state_, file), LUA_MULTRET) ||
           failRun(state_, nameOf(file), -1);
}

bool Config::dostring(const char* text) {
    reserve(state_);
    if (run(state_, loadText(state_, text), LUA_MULTRET)) {
        return true;
    }
    const char* const name = nameOf(text);
    return failRun(state_, name, nameLength(name));
}

bool Config::tmpload(const char* file, bool withGlobals) {
    reserve(state_);
    lua_newtable(state_);
    if (runInTable(state_, QZ_lua_loadfile(state_, file), withGlobals)) {
        return true;
    }
    failLoad(state_, file);
    lua_pop(state_, 1);
    return false;
}

bool Config::tmpload_buf(const char* buffer, std::uint64_t size, bool withGlobals) {
    constexpr std::uint64_t kMore = 4096; // than a line of the log takes
    if (buffer == nullptr) {
        buffer = "";
        size = 0;
    }
    reserve(state_);
    lua_newtable(state_);
    if (runInTable(state_, luaL_loadbuffer(state_, buffer, size, nullptr), withGlobals)) {
        return true;
    }
    failLoad(state_, buffer, static_cast<int>(std::min(size, kMore)));
    lua_pop(state_, 1);
    return false;
}

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
    reserve(state_);
    const Key key = createContainer(state_, -1, path);
    createEntry(state_, key);
    lua_remove(state_, -2);
}

void Config::create(int index) {
    reserve(state_);
    createEntry(state_, index);
}

void Config::create_raw(const char* name) {
    reserve(state_);
    createEntry(state_, name);
}

void Config::set(const char* path) {
    reserve(state_);
    const Key key = createContainer(state_, -2, path);
    lua::pushKey(state_, key);
    lua_pushvalue(state_, -3);
    lua_settable(state_, -3);
    lua_pop(state_, 2);
}

void Config::set(int index) {
    reserve(state_);
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

bool Config::pop(bool* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(std::string* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned char* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(int* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(float* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(double* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned short* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned int* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(unsigned long* output) {
    return convertAndPop(state_, output);
}

bool Config::pop(osg::Vec4ub* output) {
    return popVector<unsigned char, 4>(state_, *this, output);
}

bool Config::pop(osg::Vec2f* output) {
    return popVector<float, 2>(state_, *this, output);
}

bool Config::pop(osg::Vec3d* output) {
    return popVector<double, 3>(state_, *this, output);
}

bool Config::pop(osg::Vec4d* output) {
    return popVector<double, 4>(state_, *this, output);
}

bool Config::iterate_pop(bool* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(std::string* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(unsigned char* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(int* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(float* output) {
    return convert(state_, output);
}

bool Config::iterate_pop(double* output) {
    return convert(state_, output);
}

} // namespace Lua
