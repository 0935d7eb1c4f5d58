#include "script_error.h"

#include "logging.h"
#include "stop.h"

#include "Core/Log.h"
#include "VFS/File.h"

#include <lua.hpp>

#include <cstdio>
#include <cstring>

namespace {

constexpr int kDeepestLevel = 30;

const char* moduleOf(lua_State* L) {
    lua_getfield(L, LUA_REGISTRYINDEX, "QZ.id");
    const char* module = lua_tostring(L, -1);
    lua_pop(L, 1); // the registry keeps the text alive
    return module != nullptr ? module : "LUA";
}

/* Lua treats a chunk's name as source text and shortens it: [string "a/long/pa..."]. Returns the
 * whole name if it is the name of a file; the name of a chunk made from a string is its text. */
const char* chunkName(const lua_Debug& where) {
    return VFS_exists(where.source) ? where.source : where.short_src;
}

/* Pushes a copy of the message in which the whole name replaces the shortened one. Returns null and
 * pushes nothing if the message does not begin with a place in the code. */
const char* withWholeName(lua_State* L, const char* message) {
    lua_Debug where;
    for (int level = 0; level < kDeepestLevel && lua_getstack(L, level, &where); ++level) {
        lua_getinfo(L, "Sl", &where);
        char position[LUA_IDSIZE + 16];
        const int length =
            std::snprintf(position, sizeof position, "%s:%d:", where.short_src, where.currentline);
        if (std::strncmp(message, position, static_cast<size_t>(length)) == 0) {
            return lua_pushfstring(L, "%s:%d:%s", chunkName(where), where.currentline,
                                   message + length);
        }
    }
    return nullptr;
}

const char* functionName(const lua_Debug& where) {
    if (std::strcmp(where.what, "main") == 0) {
        return "the main chunk";
    }
    return where.name != nullptr ? where.name : "a function without a name";
}

void logLevel(const char* module, const lua_Debug& where) {
    char line[384];
    if (where.currentline > 0) {
        std::snprintf(line, sizeof line, "    %s:%d: in %s", chunkName(where), where.currentline,
                      functionName(where));
    } else if (where.name != nullptr && *where.name != '\0') {
        std::snprintf(line, sizeof line, "    in %s, not written in Lua", where.name);
    } else {
        return; // a tail call, or the host's function that called the script
    }
    qz_log(module, QZ_LOG_ERROR, line);
}

void logTraceback(lua_State* L, const char* module) {
    lua_Debug where;
    for (int level = 1; level < kDeepestLevel && lua_getstack(L, level, &where); ++level) {
        lua_getinfo(L, "Snl", &where);
        logLevel(module, where);
    }
}

} // namespace

const char* describeError(lua_State* L, int index) {
    const char* message = lua_tostring(L, index);
    return message != nullptr ? message : "the error is not a text";
}

int logScriptError(lua_State* L) {
    if (!stopRequested()) {
        const char* module = moduleOf(L);
        const char* message = describeError(L, 1);
        const char* placed = withWholeName(L, message);
        logLines(module, QZ_LOG_ERROR, placed != nullptr ? placed : message);
        // A text without a place, as of error(text, 0), concerns the user's files, not the script.
        if (placed != nullptr || !lua_isstring(L, 1)) {
            logTraceback(L, module);
        }
    }
    lua_settop(L, 1);
    return 1;
}

/* A syntax error begins with the shortened name of the chunk. */
void logLoadError(lua_State* L, const char* module, const char* path) {
    const char* message = describeError(L, -1);
    const char* end = std::strstr(message, "\"]:");
    if (std::strncmp(message, "[string \"", 9) == 0 && end != nullptr) {
        message = lua_pushfstring(L, "%s%s", path, end + 2);
    }
    logLines(module, QZ_LOG_ERROR, message);
}
