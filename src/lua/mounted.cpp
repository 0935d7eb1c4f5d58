#include "Lua/State.h"
#include "VFS/Archive.h"
#include "lua/chunk.h"
#include "lua/listing.h"
#include "lua/protect.h"

#include <lua.hpp>

#include <cstddef>
#include <cstdint>

// The library `mounted`, by which scripts read mounted files. `read`, `kind` and `list` return
// nothing if there is no such file or directory. All functions return nil and a message on failure,
// which for `loadfile` includes a missing file.
namespace {

int fail(lua_State* state, const char* format, const char* path) {
    lua_pushnil(state);
    lua_pushfstring(state, format, path);
    return 2;
}

int read(lua_State* state) {
    const char* const path = luaL_checkstring(state, 1);
    void* buffer = nullptr;
    std::uint64_t size = 0;
    const int result = vfs_read_optional_file(path, &buffer, &size);
    if (result != 1) {
        return result == 0 ? 0 : fail(state, "can't read \"%s\"", path);
    }
    const int status = lua::protect(state, 0, 1, [=](lua_State* inner) {
        lua_pushlstring(inner, static_cast<const char*>(buffer), static_cast<std::size_t>(size));
        return 1;
    });
    vfs_free_file_buffer(buffer);
    return status == 0 ? 1 : lua_error(state);
}

int kind(lua_State* state) {
    const char* const path = luaL_checkstring(state, 1);
    std::uint64_t size = 0;
    switch (vfs_get_kind(path, &size)) {
    case VFS_KIND_FILE:
        lua_pushliteral(state, "file");
        lua_pushnumber(state, static_cast<lua_Number>(size));
        return 2;
    case VFS_KIND_DIRECTORY:
        lua_pushliteral(state, "directory");
        return 1;
    case VFS_KIND_NONE:
        return 0;
    default:
        return fail(state, "can't look for \"%s\"", path);
    }
}

int list(lua_State* state) {
    const char* const path = luaL_checkstring(state, 1);
    lua_newtable(state);
    lua::Listing names;
    lua::start(names, state);
    const int result = vfs_list(path, lua::append, &names);
    lua::finish(names);
    if (result != 1) {
        return result == 0 ? 0 : fail(state, "can't list \"%s\"", path);
    }
    return 1;
}

int loadfile(lua_State* state) {
    return lua::loadResults(state, QZ_lua_loadmounted(state, luaL_checkstring(state, 1)));
}

constexpr luaL_Reg kFunctions[] = {
    {"read", read}, {"kind", kind}, {"list", list}, {"loadfile", loadfile}, {nullptr, nullptr}};

} // namespace

int QZ_luaopen_mounted(lua_State* state) {
    luaL_register(state, "mounted", kFunctions);
    return 1;
}
