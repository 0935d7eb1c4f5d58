#include "Lua/State.h"
#include "VFS/File.h"
#include "lua/number.h"
#include "lua/open_files.h"

#include <lua.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr char kMetatable[] = "QZ.io";
constexpr std::int64_t kPiece = 512;
static_assert(LUAL_BUFFERSIZE >= kPiece);

struct File {
    VFS_File* handle;    // null if closed
    lua::OpenFile* open; // of this handle
    std::int32_t position;
    std::int32_t count;
    char buffer[1024]; // read ahead: the bytes from `position` to `count` are unread
};

// The open file at `index`, or null. Checks the size, because scripts can give the metatable to any
// userdata through the debug library.
File* openFile(lua_State* state, int index) {
    if (lua_type(state, index) != LUA_TUSERDATA || lua_objlen(state, index) != sizeof(File) ||
        lua_getmetatable(state, index) == 0) {
        return nullptr;
    }
    luaL_getmetatable(state, kMetatable);
    const bool isFile = lua_rawequal(state, -1, -2) != 0;
    lua_pop(state, 2);
    File* const file = static_cast<File*>(lua_touserdata(state, index));
    return isFile && file->handle != nullptr ? file : nullptr;
}

std::int32_t unread(const File& file) {
    return file.count - file.position;
}

bool refill(File& file) {
    file.position = 0;
    file.count = static_cast<std::int32_t>(VFS_read(file.handle, file.buffer, sizeof file.buffer));
    return file.count > 0;
}

// Takes the bytes read ahead up to and including the first line feed, or all of them.
std::string_view takeLine(File& file) {
    const char* const begin = file.buffer + file.position;
    const auto room = static_cast<std::size_t>(unread(file));
    const void* const end = std::memchr(begin, '\n', room);
    const std::size_t length =
        end == nullptr ? room : static_cast<std::size_t>(static_cast<const char*>(end) - begin) + 1;
    file.position += static_cast<std::int32_t>(length);
    return {begin, length};
}

bool isWhole(std::string_view line) {
    return line.ends_with('\n');
}

// Room for `size` bytes, kPiece at most. Moves a buffer that is full to the stack first.
char* roomFor(luaL_Buffer& text, std::size_t size) {
    const auto room = static_cast<std::size_t>(text.buffer + LUAL_BUFFERSIZE - text.p);
    return size <= room ? text.p : luaL_prepbuffer(&text);
}

// Adds a piece of a line without its line feed and without any carriage return.
void addText(luaL_Buffer& text, std::string_view piece) {
    piece.remove_suffix(isWhole(piece) ? 1 : 0);
    while (!piece.empty()) {
        const std::size_t most = std::min<std::size_t>(piece.size(), kPiece);
        const std::size_t count = std::min(piece.find('\r'), most);
        std::memcpy(roomFor(text, count), piece.data(), count);
        luaL_addsize(&text, count);
        piece.remove_prefix(count < most ? count + 1 : count);
    }
}

// Pushes the next line, or nil at the end of the file. Most lines are whole among the bytes read
// ahead and have no carriage return but at their end, so these are pushed without a buffer.
int pushLine(lua_State* state, File& file) {
    if (unread(file) == 0 && !refill(file)) {
        lua_pushnil(state);
        return 1;
    }
    std::string_view piece = takeLine(file);
    std::string_view line = piece.substr(0, piece.size() - 1);
    line.remove_suffix(line.ends_with('\r') ? 1 : 0);
    if (isWhole(piece) && std::memchr(line.data(), '\r', line.size()) == nullptr) {
        lua_pushlstring(state, line.data(), line.size());
        return 1;
    }
    luaL_Buffer text;
    luaL_buffinit(state, &text);
    addText(text, piece);
    while (!isWhole(piece) && refill(file)) {
        piece = takeLine(file);
        addText(text, piece);
    }
    luaL_pushresult(&text);
    return 1;
}

// Reads at most `room` bytes: those read ahead, or if there are none, bytes from the file.
std::size_t readPiece(File& file, char* destination, std::int64_t room) {
    if (unread(file) == 0) {
        return VFS_read(file.handle, destination, static_cast<std::size_t>(room));
    }
    const auto count = static_cast<std::int32_t>(std::min<std::int64_t>(unread(file), room));
    std::copy_n(file.buffer + file.position, count, destination);
    file.position += count;
    return static_cast<std::size_t>(count);
}

// Pushes up to `count` bytes; an empty string at the end of the file.
int pushBytes(lua_State* state, File& file, std::int64_t count) {
    luaL_Buffer bytes;
    luaL_buffinit(state, &bytes);
    while (count > 0) {
        const std::size_t piece =
            readPiece(file, luaL_prepbuffer(&bytes), std::min<std::int64_t>(count, kPiece));
        if (piece == 0) {
            break;
        }
        luaL_addsize(&bytes, piece);
        count -= static_cast<std::int64_t>(piece);
    }
    luaL_pushresult(&bytes);
    return 1;
}

int readCount(lua_State* state, File& file, lua_Number count) {
    constexpr lua_Number kMost = 9007199254740992.0; // converts exactly, and no file is larger
    if (!(count >= 0)) {
        return 0;
    }
    return pushBytes(state, file, static_cast<std::int64_t>(std::min(count, kMost)));
}

int readFormat(lua_State* state, File& file, const char* format) {
    luaL_argcheck(state, format[0] == '*', 2, "invalid option");
    switch (format[1]) {
    case 'l':
        return pushLine(state, file);
    case 'a':
        return pushBytes(state, file, VFS_getsize(file.handle));
    case 'n':
        return luaL_error(state, "io.read('*n') is not supported");
    default:
        return 0;
    }
}

VFS_File* openHandle(const char* name, char mode) {
    return mode == 'r' ? VFS_open_read(name) : VFS_open_write(name);
}

int open(lua_State* state) {
    const char* const name = lua_tostring(state, 1);
    luaL_argcheck(state, name != nullptr, 1, "requires a filename");
    const char* const mode = luaL_optstring(state, 2, "r");
    if (mode[0] != 'r' && mode[0] != 'w') {
        lua_pushnil(state);
        lua_pushfstring(state, "io.open(%s): only 'r' and 'w' are supported on VFS", name);
        return 2;
    }
    // Makes the object first, so that no error can be raised between opening and owning the file.
    File* const file = static_cast<File*>(lua_newuserdata(state, sizeof(File)));
    file->handle = nullptr;
    file->open = nullptr;
    file->position = 0;
    file->count = 0;
    luaL_getmetatable(state, kMetatable);
    if (!lua_istable(state, -1)) { // scripts can change the registry through the debug library
        return luaL_error(state, "the registry has lost \"%s\"", kMetatable);
    }
    lua_setmetatable(state, -2);
    lua::OpenFile* const added = lua::addOpenFile(lua::fileOwner(state));
    if (added == nullptr) {
        return luaL_error(state, "not enough memory");
    }
    added->handle = openHandle(name, mode[0]);
    if (added->handle == nullptr) {
        lua::closeOpenFile(added);
        lua_pushnil(state);
        lua_pushfstring(state, "can't open \"%s\" for '%s'", name, mode);
        return 2;
    }
    file->open = added;
    file->handle = added->handle;
    return 1;
}

int close(lua_State* state) {
    File* const file = openFile(state, 1);
    if (file != nullptr) {
        lua::closeOpenFile(file->open);
        file->handle = nullptr;
    }
    return 0;
}

int read(lua_State* state) {
    File* const file = openFile(state, 1);
    if (file == nullptr) {
        return 0;
    }
    if (lua_type(state, 2) == LUA_TNUMBER) {
        return readCount(state, *file, lua_tonumber(state, 2));
    }
    return readFormat(state, *file, luaL_optstring(state, 2, "*l"));
}

int write(lua_State* state) {
    const File* const file = openFile(state, 1);
    if (file == nullptr) {
        return 0;
    }
    const int count = lua_gettop(state);
    for (int i = 2; i <= count; ++i) {
        lua::numberToText(state, i);
        std::size_t length = 0;
        const char* const text = lua_tolstring(state, i, &length);
        if (text != nullptr) {
            VFS_write(file->handle, text, length);
        }
    }
    return 0;
}

int nextLine(lua_State* state) {
    File* const file = openFile(state, lua_upvalueindex(1));
    return file != nullptr ? pushLine(state, *file) : 0;
}

int lines(lua_State* state) {
    if (openFile(state, 1) == nullptr) {
        return 0;
    }
    lua_pushvalue(state, 1);
    lua_pushcclosure(state, nextLine, 1);
    return 1;
}

int flush(lua_State* /*state*/) {
    return 0;
}

constexpr luaL_Reg kFunctions[] = {
    {"open", open}, {"close", close}, {"__gc", close},  {"write", write},
    {"read", read}, {"lines", lines}, {"flush", flush}, {nullptr, nullptr},
};

} // namespace

int QZ_luaopen_io(lua_State* state) {
    lua::makeFileOwner(state);
    luaL_newmetatable(state, kMetatable);
    lua_pushvalue(state, -1);
    lua_setfield(state, -2, "__index");
    luaL_register(state, nullptr, kFunctions);
    luaL_register(state, LUA_IOLIBNAME, kFunctions);
    return 1;
}
