#include "saved_state.h"

#include "script_error.h"
#include "user_error.h"

#include "Lua/Config.h"
#include "Lua/Serializer.h"
#include "VFS/File.h"

#include <lua.hpp>

#include <filesystem>
#include <memory>
#include <sstream>

namespace {

constexpr char kGlobal[] = "state";

// A text with one of these characters would be loaded as another text, or as other entries.
constexpr char kCheck[] =
    "local seen = {}\n"
    "local function check(value)\n"
    "    if type(value) == 'string' and value:find('[%z\\r\\n\"\\\\]') then\n"
    "        error('a text has a quote, a backslash, a line break or a zero byte', 0)\n"
    "    elseif type(value) == 'table' and not seen[value] then\n"
    "        seen[value] = true\n"
    "        for key, entry in pairs(value) do check(key) check(entry) end\n"
    "    end\n"
    "end\n"
    "check(state)";

struct Closer {
    void operator()(VFS_File* file) const { VFS_close(file); }
};

/* The file's path -> nothing. Runs without globals, because saved data calls nothing. */
int runSavedState(lua_State* L) {
    const auto* file = static_cast<const char*>(lua_touserdata(L, 1));
    Lua::Config saved(L);
    if (!saved.tmpload(file, false)) {
        return luaL_error(L, "%s is no saved state; --fresh begins anew", file);
    }
    if (!saved.open(kGlobal)) {
        return luaL_error(L, "%s: %s is missing; --fresh begins anew", file, kGlobal);
    }
    lua_setglobal(L, kGlobal);
    return 0;
}

[[noreturn]] void fail(const std::string& file, const std::string& problem) {
    throw UserError(file + ": the state cannot be saved: " + problem);
}

/* Takes the error message off the stack. */
std::string takeError(lua_State* L) {
    std::string message = describeError(L, -1);
    lua_pop(L, 1);
    return message;
}

std::string serialized(lua_State* L, const std::string& file) {
    if (luaL_dostring(L, kCheck)) {
        fail(file, takeError(L));
    }
    std::ostringstream source;
    const int top = lua_gettop(L);
    Lua::Serializer(source).serialize(L, kGlobal);
    if (lua_gettop(L) != top) {
        fail(file, takeError(L));
    }
    const std::string text = source.str();
    // Too large a table would not load.
    if (luaL_loadbuffer(L, text.data(), text.size(), kGlobal) != 0) {
        fail(file, takeError(L));
    }
    lua_pop(L, 1);
    return text;
}

bool write(const std::string& file, const std::string& text) {
    const std::unique_ptr<VFS_File, Closer> out(VFS_open_write(file.c_str()));
    return out && VFS_write(out.get(), text.data(), text.size()) == text.size();
}

std::filesystem::path pathOf(const std::string& file) {
    return std::filesystem::path(std::u8string(file.begin(), file.end()));
}

} // namespace

void restoreState(lua_State* L, const std::string& file) {
    if (lua_cpcall(L, runSavedState, const_cast<char*>(file.c_str())) != 0) {
        throw UserError(takeError(L));
    }
}

void saveState(lua_State* L, const std::string& file) {
    lua_getglobal(L, kGlobal);
    const bool isTable = lua_istable(L, -1);
    lua_pop(L, 1);
    if (!isTable) {
        return;
    }
    const std::string text = serialized(L, file);
    const std::string draft = file + ".new";
    std::error_code error;
    if (!write(draft, text)) {
        fail(file, draft + " cannot be written");
    }
    std::filesystem::rename(pathOf(draft), pathOf(file), error);
    if (error) {
        fail(file, error.message());
    }
}
