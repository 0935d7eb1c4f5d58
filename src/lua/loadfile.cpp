#include "Lua/State.h"
#include "VFS/Archive.h"
#include "VFS/File.h"
#include "lua/chunk.h"
#include "platform/thread.h"

#include <lua.hpp>

#include <cstdint>
#include <string_view>

namespace {

struct Chunk {
    VFS_File* file;
    const char* path;
    char block[4096];
};

// Reading nothing before the file's end is an error: half a file must not pass for a whole one. But
// another program may have made the file longer since it ended here.
const char* readBlock(lua_State* state, void* context, size_t* size) {
    Chunk& chunk = *static_cast<Chunk*>(context);
    *size = VFS_read(chunk.file, chunk.block, sizeof chunk.block);
    const bool isLonger = *size == 0 && VFS_tell(chunk.file) < VFS_getsize(chunk.file);
    if (isLonger) {
        *size = VFS_read(chunk.file, chunk.block, sizeof chunk.block);
    }
    if (isLonger && *size == 0) {
        lua_pushfstring(state, "can't read '%s'", chunk.path);
        lua_error(state);
    }
    return chunk.block;
}

struct Failure {
    const char* format;
    const char* path;
};

int raiseFailure(lua_State* state) {
    const Failure& failure = *static_cast<const Failure*>(lua_touserdata(state, 1));
    lua_pushfstring(state, failure.format, failure.path);
    return lua_error(state);
}

// Pushes the message. Making it may run out of memory, too, so it is made and raised in a protected
// call, which leaves a message on the stack in either case.
int fail(lua_State* state, Failure failure) {
    const int status = lua_cpcall(state, raiseFailure, &failure);
    return status == LUA_ERRMEM ? LUA_ERRMEM : LUA_ERRFILE;
}

// An error that Lua raises while it loads, for too many constants, say, counts as the file's.
int asFileError(int status) {
    return status == LUA_ERRRUN ? LUA_ERRFILE : status;
}

} // namespace

int QZ_lua_loadfile(lua_State* state, const char* path) {
    if (path == nullptr) {
        return fail(state, {"no filename given", nullptr});
    }
    const platform::NoCancellation guard; // the file has to be closed
    Chunk chunk;
    chunk.path = path;
    chunk.file = VFS_open_read(path);
    if (chunk.file == nullptr) {
        return fail(state, {"can't open '%s'", path});
    }
    const auto size = static_cast<size_t>(VFS_getsize(chunk.file));
    const int status = lua::loadChunk(state, readBlock, &chunk, size, path);
    VFS_close(chunk.file);
    return asFileError(status);
}

int QZ_lua_loadmounted(lua_State* state, const char* path) {
    if (path == nullptr) {
        return fail(state, {"no filename given", nullptr});
    }
    void* buffer = nullptr;
    std::uint64_t size = 0;
    const int result = vfs_read_optional_file(path, &buffer, &size);
    if (result != 1) {
        return fail(state, {result == 0 ? "can't open '%s'" : "can't read '%s'", path});
    }
    const std::string_view source(static_cast<const char*>(buffer), static_cast<size_t>(size));
    const int status = lua::loadChunk(state, source, path);
    vfs_free_file_buffer(buffer);
    return asFileError(status);
}
