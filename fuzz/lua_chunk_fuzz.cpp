// Any bytes as a Lua chunk in a file: loading gives an error or a function, pushes one value, and
// uses memory in proportion to the file's length. The function is not called, because it may loop
// for ever.
#include "require.h"

#include "Lua/State.h"
#include "VFS/File.h"

#include <lua.hpp>

#include <cstdint>

namespace {

constexpr char kPath[] = "lua_chunk_fuzz.tmp";

void writeChunk(const std::uint8_t* data, std::size_t size) {
    VFS_remove(kPath); // overwriting is slower on some file systems
    VFS_File* const file = VFS_open_write(kPath);
    require(file != nullptr && VFS_write(file, data, size) == size);
    VFS_close(file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeChunk(data, size);
    lua_State* const state = luaL_newstate();
    const int status = QZ_lua_loadfile(state, kPath);
    require(lua_gettop(state) == 1);
    require(status == 0 ? lua_isfunction(state, 1) : lua_isstring(state, 1) != 0);
    lua_close(state);
    return 0;
}
