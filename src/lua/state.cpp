#include "Lua/State.h"

#include "core/library_log.h"
#include "core/memory_pool.h"
#include "lua/name.h"
#include "lua/open_files.h"
#include "lua/pool.h"
#include "lua/protect.h"

#include <lua.hpp>

namespace {

constexpr char kModule[] = "Lua";

void* allocateFromPool(void* pool, void* block, std::size_t oldSize, std::size_t size) {
    core::MemoryPool& heap = *static_cast<core::MemoryPool*>(pool);
    if (size == 0) {
        heap.release(block, oldSize);
        return nullptr;
    }
    return heap.reallocate(block, oldSize, size);
}

// Lua calls it for an error that nothing catches, and then ends the process by exit(). A further
// error, or one of a finalizer, must not lead here again.
int logUnprotectedError(lua_State* state) {
    lua_atpanic(state, nullptr);
    lua_gc(state, LUA_GCSTOP, 0);
    const char* const error = lua::errorText(state);
    qz_logf(lua::pushName(state, lua::kNameless), QZ_LOG_ERROR, "unprotected error: %s", error);
    return 0;
}

// The functions that lua_cpcall runs get their argument as a light userdata at index 1.

int setNameProtected(lua_State* state) {
    lua::setName(state, static_cast<const char*>(lua_touserdata(state, 1)));
    return 0;
}

void logDeletion(const char* name) {
    qz_logf(kModule, QZ_LOG_DEBUG, "Deleted state \"%s\"", name);
}

int logDeletionProtected(lua_State* state) {
    logDeletion(lua::pushName(state, "!!!missing QZ.id!!!"));
    return 0;
}

constexpr luaL_Reg kLibraries[] = {
    {"", QZ_luaopen_base},           {LUA_LOADLIBNAME, QZ_luaopen_package},
    {LUA_TABLIBNAME, luaopen_table}, {LUA_IOLIBNAME, QZ_luaopen_io},
    {LUA_OSLIBNAME, QZ_luaopen_os},  {LUA_STRLIBNAME, luaopen_string},
    {LUA_MATHLIBNAME, luaopen_math}, {LUA_DBLIBNAME, luaopen_debug},
    {"log", QZ_luaopen_log},
#ifdef LUAJIT_VERSION
    {LUA_JITLIBNAME, luaopen_jit}, // opening it turns the compiler on
#endif
};

int openLibraries(lua_State* state) {
    for (const luaL_Reg& library : kLibraries) {
        lua_pushcfunction(state, library.func);
        lua_pushstring(state, library.name);
        lua_call(state, 1, 0);
    }
    return 0;
}

} // namespace

lua_State* QZ_lua_open(const char* name) {
    lua_State* const state = lua_newstate(allocateFromPool, &lua::pool());
    if (state == nullptr) {
        return nullptr;
    }
    lua_atpanic(state, logUnprotectedError);
    if (lua_cpcall(state, setNameProtected, const_cast<char*>(name)) != 0) {
        lua_close(state);
        return nullptr;
    }
    qz_logf(kModule, QZ_LOG_DEBUG, "Created state \"%s\"", name != nullptr ? name : "<NULL>");
    return state;
}

void QZ_lua_close(lua_State* state) {
    if (state == nullptr) {
        return;
    }
    if (lua_cpcall(state, logDeletionProtected, nullptr) != 0) {
        logDeletion("!!!missing QZ.id!!!");
    }
    lua_settop(state, 0); // makes room
    const lua::FileOwner owner = lua::fileOwner(state);
    lua_close(state);
    lua::closeFilesOf(owner);
}

void QZ_lua_openlibs(lua_State* state) {
    if (state == nullptr || lua_cpcall(state, openLibraries, nullptr) == 0) {
        return;
    }
    const char* const reason = lua_tostring(state, -1);
    qz_logf(kModule, QZ_LOG_ERROR, "Can't open the libraries: %s",
            reason != nullptr ? reason : "unknown error");
    lua_pop(state, 1);
}
