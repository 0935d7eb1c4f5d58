#include "lua/lfs.h"

#include "VFS/File.h"
#include "VFS/Locations.h"
#include "VFS/Paths.h"
#include "lua/listing.h"

#include <lua.hpp>

#include <cmath>
#include <cstring>
#include <initializer_list>

namespace {

const char* requiredText(lua_State* state, int index, const char* complaint) {
    const char* const text = lua_tostring(state, index);
    luaL_argcheck(state, text != nullptr, index, complaint);
    return text;
}

void pushMode(lua_State* state, const char* path) {
    lua_pushstring(state, VFS_isdir(path) != 0 ? "directory" : "file");
}

void pushModification(lua_State* state, const char* path) {
    lua_pushnumber(state, static_cast<lua_Number>(VFS_get_mod_time(path)));
}

int pushAttribute(lua_State* state, const char* path, const char* name) {
    if (std::strcmp(name, "mode") == 0) {
        pushMode(state, path);
        return 1;
    }
    if (std::strcmp(name, "modification") == 0) {
        pushModification(state, path);
        return 1;
    }
    return 0;
}

int attributes(lua_State* state) {
    const char* const path = requiredText(state, 1, "filepath is required");
    if (VFS_exists(path) == 0) {
        return 0;
    }
    const char* const name = luaL_optstring(state, 2, nullptr);
    if (name != nullptr) {
        return pushAttribute(state, path, name);
    }
    lua_createtable(state, 0, 2);
    pushMode(state, path);
    lua_setfield(state, -2, "mode");
    pushModification(state, path);
    lua_setfield(state, -2, "modification");
    return 1;
}

int trueOrMessage(lua_State* state, bool done, const char* format, const char* path) {
    if (done) {
        lua_pushboolean(state, 1);
        return 1;
    }
    lua_pushnil(state);
    lua_pushfstring(state, format, path);
    return 2;
}

int mkdir(lua_State* state) {
    const char* const path = requiredText(state, 1, "path is required");
    return trueOrMessage(state, VFS_mkdir(path) != 0, "can't create directory \"%s\"", path);
}

int rmdir(lua_State* state) {
    const char* const path = requiredText(state, 1, "path is required");
    return trueOrMessage(state, VFS_remove(path) != 0, "can't delete directory \"%s\"", path);
}

// Returns the next entry of the directory table given as argument, or else of the bound one.
int nextEntry(lua_State* state) {
    if (lua_isnoneornil(state, 1)) {
        lua_settop(state, 0);
        lua_pushvalue(state, lua_upvalueindex(1));
    }
    luaL_argcheck(state, lua_istable(state, 1), 1, "qz_lua_vfs:lfs_dir_walk");
    lua_getfield(state, 1, "i");
    // Not converted to an integer: scripts can store any number here, and it may not fit.
    const lua_Number cursor = lua_tonumber(state, -1) + 1;
    lua_pushnumber(state, cursor);
    lua_setfield(state, 1, "i");
    lua_pushnumber(state, cursor);
    lua_gettable(state, 1);
    return 1;
}

bool isEntry(lua_State* state, int index, lua_Number count) {
    const lua_Number key = lua_tonumber(state, index);
    return lua_type(state, index) == LUA_TNUMBER && key >= 1 && key <= count &&
           key == std::floor(key);
}

// Goes through the existing keys: scripts may have removed entries, and set "n" to any number.
void clearEntries(lua_State* state, lua_Number count) {
    lua_pushnil(state);
    while (lua_next(state, 1) != 0) {
        lua_pop(state, 1);
        if (isEntry(state, -1, count)) {
            lua_pushvalue(state, -1);
            lua_pushnil(state);
            lua_rawset(state, 1);
        }
    }
}

int closeDirectory(lua_State* state) {
    luaL_argcheck(state, lua_istable(state, 1), 1, "qz_lua_vfs:lfs_dir_close");
    lua_getfield(state, 1, "n");
    const lua_Number count = lua_tonumber(state, -1);
    clearEntries(state, count);
    for (const char* field : {"i", "n", "next", "close"}) {
        lua_pushnil(state);
        lua_setfield(state, 1, field);
    }
    return 0;
}

void nameCallback(void* context, const char* /*directory*/, const char* name) {
    lua::append(context, name);
}

int dir(lua_State* state) {
    const char* const path = requiredText(state, 1, "path is required");
    lua_newtable(state);
    lua::Listing names;
    lua::start(names, state);
    VFS_readdir(path, nameCallback, &names);
    lua::finish(names);
    lua_pushcfunction(state, nextEntry);
    lua_setfield(state, -2, "next");
    lua_pushcfunction(state, closeDirectory);
    lua_setfield(state, -2, "close");
    lua_pushvalue(state, -1);
    lua_pushcclosure(state, nextEntry, 1);
    lua_insert(state, -2);
    return 2;
}

int chdir(lua_State* state) {
    return luaL_error(state, "can't chdir on VFS");
}

int currentdir(lua_State* state) {
    lua_pushstring(state, VFS_get_basedir());
    return 1;
}

int writedir(lua_State* state) {
    lua_pushstring(state, VFS_get_writedir());
    return 1;
}

int tempdir(lua_State* state) {
    lua_pushstring(state, VFS_get_tempdir());
    return 1;
}

// The list of locations, as texts one after another. No Lua code may run while the list is walked,
// because a finaliser could change the list.
struct LocationTexts {
    char* texts;
    std::size_t room;
    std::size_t size; // of all texts, also of those that have no room
};

void packText(LocationTexts& packed, const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    if (size <= packed.room && packed.size <= packed.room - size) {
        std::memcpy(packed.texts + packed.size, text, size);
    }
    packed.size += size;
}

void packLocation(void* context, const VFS_Location* location) {
    auto& packed = *static_cast<LocationTexts*>(context);
    packText(packed, location->name);
    packText(packed, location->path);
}

// Leaves the block that holds the texts on the stack. The list may have grown by the time there is
// a block: other threads change it, and so may a finaliser.
LocationTexts packLocations(lua_State* state) {
    LocationTexts packed = {nullptr, 0, 0};
    VFS_get_locations(packLocation, &packed);
    while (packed.size > packed.room) {
        lua_settop(state, 0);
        packed = {static_cast<char*>(lua_newuserdata(state, packed.size)), packed.size, 0};
        VFS_get_locations(packLocation, &packed);
    }
    return packed;
}

// Sets a field of the table on top of the stack. Returns the text that follows `text`.
const char* setText(lua_State* state, const char* field, const char* text) {
    lua_pushstring(state, text);
    lua_setfield(state, -2, field);
    return text + std::strlen(text) + 1;
}

int locations(lua_State* state) {
    const LocationTexts packed = packLocations(state);
    lua_newtable(state);
    int count = 0;
    for (const char* text = packed.texts; text != packed.texts + packed.size;) {
        lua_createtable(state, 0, 2);
        text = setText(state, "name", text);
        text = setText(state, "path", text);
        lua_rawseti(state, -2, ++count);
    }
    lua_pushinteger(state, count);
    lua_setfield(state, -2, "n");
    return 1;
}

int addLocation(lua_State* state) {
    const VFS_Location location = {lua_tostring(state, 1), lua_tostring(state, 2)};
    if (location.name == nullptr || location.path == nullptr) {
        return luaL_error(state, "lfs.add_location(name, path)");
    }
    lua_pushboolean(state, VFS_add_location(&location) != 0);
    return 1;
}

int delLocation(lua_State* state) {
    const char* const path = requiredText(state, 1, "lfs.del_location(name)");
    lua_pushboolean(state, VFS_del_location(path) != 0);
    return 1;
}

int normpath(lua_State* state) {
    const char* const path = requiredText(state, 1, "lfs.normpath(path)");
    char normalised[256];
    if (VFS_path_normalize(normalised, sizeof normalised, path) == 0) {
        return 0;
    }
    lua_pushstring(state, normalised);
    return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"attributes", attributes},
    {"mkdir", mkdir},
    {"rmdir", rmdir},
    {"dir", dir},
    {"chdir", chdir},
    {"currentdir", currentdir},
    {"writedir", writedir},
    {"tempdir", tempdir},
    {"locations", locations},
    {"add_location", addLocation},
    {"del_location", delLocation},
    {"normpath", normpath},
    {nullptr, nullptr},
};

} // namespace

int lua::openLfs(lua_State* state) {
    luaL_register(state, "lfs", kFunctions);
    return 1;
}
