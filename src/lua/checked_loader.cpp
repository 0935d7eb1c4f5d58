#include "Lua/CheckedLoader.h"

#include "Lua/State.h"
#include "core/library_log.h"
#include "lua/field.h"
#include "lua/protect.h"
#include "platform/files.h"

#include <lua.hpp>

namespace Lua {

namespace {

// If there is a compiled file beside the source and it loads, pushes its chunk and returns true.
bool loadCompiled(lua_State* state, const std::string& file) {
    const std::string compiled = file + "c";
    if (!file.ends_with(".lua") || !platform::isReadable(compiled.c_str())) {
        return false;
    }
    if (QZ_lua_loadfile(state, compiled.c_str()) == 0) {
        return true;
    }
    lua_pop(state, 1);
    return false;
}

// Gives the function at index 1 the global table of that name as its environment.
void setEnvironment(lua_State* state, const Key& table) {
    lua::pushKey(state, table);
    lua_gettable(state, LUA_GLOBALSINDEX);
    if (!lua_istable(state, -1)) {
        lua_newtable(state);
        lua::pushKey(state, table);
        lua_pushvalue(state, -2);
        lua_settable(state, LUA_GLOBALSINDEX);
    }
    lua_setfenv(state, 1);
    lua_settop(state, 1);
}

// Stack: chunk -> nothing; or chunk -> message, and returns Lua's error code.
int run(lua_State* state, const Key& table) {
    return lua::protect(state, 1, 0, [&table](lua_State* inner) {
        if (!table.text().empty()) {
            setEnvironment(inner, table);
        }
        lua_call(inner, 0, 0);
        return 0;
    });
}

[[noreturn]] void fail(const std::string& file, const char* reason) {
    throw CheckedLoaderException("Can't execute Lua file " + file + " - " + reason);
}

} // namespace

CheckedLoader& CheckedLoader::instance() {
    static CheckedLoader loader;
    return loader;
}

void CheckedLoader::addCheckedFile(const char* /*file*/, int /*flags*/) {
    throw CheckedLoaderException("addCheckedFile not implemented");
}

void CheckedLoader::loadFile(lua_State* state, const std::string& file, const std::string& table) {
    if (file.empty()) {
        throw CheckedLoaderException("Can't do file, name is empty!");
    }
    if (state == nullptr) {
        fail(file, "No Lua state");
    }
    if (lua_checkstack(state, lua::kRoom) == 0) {
        fail(file, "stack overflow");
    }
    const int top = lua_gettop(state);
    const bool loaded = loadCompiled(state, file) || QZ_lua_loadfile(state, file.c_str()) == 0;
    if (!loaded || run(state, table) != 0) {
        const std::string reason = lua::errorText(state);
        lua_settop(state, top);
        fail(file, reason.c_str());
    }
}

bool CheckedLoader::tryLoadFile(lua_State* state, const std::string& file,
                                const std::string& table) {
    try {
        loadFile(state, file, table);
        return true;
    } catch (const CheckedLoaderException& exception) {
        qz_log("QZCORE", QZ_LOG_ALERT, exception.what());
        return false;
    }
}

} // namespace Lua
