#include "lua/chunk.h"

#include "Lua/State.h"

#include <utility>

namespace lua {

namespace {

struct Source {
    lua_Reader read;
    void* context;
    bool begun;
};

const char* readSource(lua_State* state, void* context, std::size_t* size) {
    Source& source = *static_cast<Source*>(context);
#ifdef LUAJIT_VERSION
    // LuaJIT goes by the first byte. It trusts a precompiled chunk, and a damaged one would end the
    // process; it skips a first line that begins with "#". It takes all that follows a blank as
    // source text.
    if (!source.begun) {
        source.begun = true;
        *size = 1;
        return " ";
    }
#endif
    return source.read(state, source.context, size);
}

// Returns all of the text at the first call, then nothing.
const char* readView(lua_State* /*state*/, void* context, std::size_t* size) {
    const auto rest = std::exchange(*static_cast<std::string_view*>(context), {});
    *size = rest.size();
    return rest.data();
}

// A damaged count in a precompiled chunk makes Lua allocate any amount of memory, and fill it,
// before it finds that the chunk is too short. The largest block that a sound chunk needs is
// bounded by its length: 16 bytes for each constant, which takes at least one byte. So is the sum
// of all blocks. Functions with many short names took most: up to 35 bytes for each byte of source
// text without garbage collection; 64 are allowed. What the state itself may need meanwhile is
// added to both: kForTheState, and the size of its heap, because the table of its strings may
// double.
struct Limit {
    lua_Alloc allocate;
    void* context;
    std::size_t largest;
    std::size_t room; // by how much all blocks together may still grow
};

void* allocateLimited(void* context, void* block, std::size_t oldSize, std::size_t size) {
    Limit& limit = *static_cast<Limit*>(context);
    if (size > oldSize && (size > limit.largest || size - oldSize > limit.room)) {
        return nullptr;
    }
    void* const result = limit.allocate(limit.context, block, oldSize, size);
    if (size <= oldSize || result != nullptr) {
        limit.room += oldSize - size;
    }
    return result;
}

} // namespace

int loadChunk(lua_State* state, lua_Reader read, void* context, std::size_t size,
              const char* name) {
    constexpr std::size_t kForTheState = std::size_t{64} << 20;
    Source source{read, context, false};
    Limit limit;
    limit.allocate = lua_getallocf(state, &limit.context);
    const auto heap = static_cast<std::size_t>(lua_gc(state, LUA_GCCOUNT, 0)) << 10;
    limit.largest = kForTheState + heap + 16 * size;
    limit.room = kForTheState + heap + 64 * size;
    lua_setallocf(state, allocateLimited, &limit);
    const int status = lua_load(state, readSource, &source, name);
    lua_setallocf(state, limit.allocate, limit.context);
    return status;
}

int loadChunk(lua_State* state, std::string_view chunk, const char* name) {
    return loadChunk(state, readView, &chunk, chunk.size(), name);
}

int loadResults(lua_State* state, int loadStatus) {
    if (loadStatus == 0) {
        return 1;
    }
    lua_pushnil(state);
    lua_insert(state, -2);
    return 2;
}

int dofile(lua_State* state, int environment) {
    const int before = lua_gettop(state);
    if (QZ_lua_loadfile(state, luaL_optstring(state, 1, nullptr)) != 0) {
        return lua_error(state);
    }
    lua_pushvalue(state, environment);
    lua_setfenv(state, -2);
    lua_call(state, 0, LUA_MULTRET);
    return lua_gettop(state) - before;
}

} // namespace lua
