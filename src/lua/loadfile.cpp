#include "Lua/State.h"
#include "VFS/File.h"

#include <lua.hpp>

namespace {

struct Chunk {
    VFS_File* file;
    bool begun;
    char block[4096];
};

const char* readBlock(lua_State* /*state*/, void* context, size_t* size) {
    Chunk& chunk = *static_cast<Chunk*>(context);
#ifdef LUAJIT_VERSION
    // LuaJIT goes by the first byte: a precompiled chunk it trusts, and a damaged one would end the
    // process; a first line that begins with "#" it skips. Behind a blank, all is source text.
    if (!chunk.begun) {
        chunk.begun = true;
        *size = 1;
        return " ";
    }
#endif
    *size = VFS_read(chunk.file, chunk.block, sizeof chunk.block);
    return chunk.block;
}

// A damaged count in a precompiled chunk makes Lua ask for any amount of memory and fill it before
// the file turns out to be too short. What a sound chunk needs in one piece is bounded by its
// length, 16 bytes for a constant of one; the rest is left to what the state itself may need
// meanwhile.
struct Limit {
    lua_Alloc allocate;
    void* context;
    size_t largest;
};

void* allocateLimited(void* context, void* block, size_t oldSize, size_t size) {
    const Limit& limit = *static_cast<const Limit*>(context);
    if (size > limit.largest && size > oldSize) {
        return nullptr;
    }
    return limit.allocate(limit.context, block, oldSize, size);
}

int load(lua_State* state, Chunk& chunk, const char* name) {
    constexpr size_t kForTheState = size_t{64} << 20;
    Limit limit;
    limit.allocate = lua_getallocf(state, &limit.context);
    limit.largest = kForTheState + 16 * static_cast<size_t>(VFS_getsize(chunk.file));
    lua_setallocf(state, allocateLimited, &limit);
    const int status = lua_load(state, readBlock, &chunk, name);
    lua_setallocf(state, limit.allocate, limit.context);
    return status;
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

// Making the message may run out of memory, too; raised in a protected call, it lands on the stack
// either way.
int fail(lua_State* state, Failure failure) {
    const int status = lua_cpcall(state, raiseFailure, &failure);
    return status == LUA_ERRMEM ? LUA_ERRMEM : LUA_ERRFILE;
}

} // namespace

int QZ_lua_loadfile(lua_State* state, const char* path) {
    if (path == nullptr) {
        return fail(state, {"no filename given", nullptr});
    }
    Chunk chunk;
    chunk.begun = false;
    chunk.file = VFS_open_read(path);
    if (chunk.file == nullptr) {
        return fail(state, {"can't open '%s'", path});
    }
    const int status = load(state, chunk, path);
    VFS_close(chunk.file);
    return status;
}
