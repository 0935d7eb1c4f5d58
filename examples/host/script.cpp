/* Lua raises errors by a long jump over C and C++ functions, which calls no destructors. So none of
 * the functions here that a Lua state calls has an object with a destructor. */
#include "script.h"

#include "directories.h"
#include "logging.h"
#include "saved_state.h"
#include "script_error.h"
#include "stop.h"

#include "Core/Log.h"
#include "Lua/Loader.h"
#include "Lua/State.h"
#include "Util/Publish.h"
#include "VFS/Archive.h"
#include "VFS/File.h"
#include "VFS/Locations.h"

#include <lua.hpp>

#if __has_include(<luajit.h>)
#    include <luajit.h>
#endif

#include <memory>

namespace {

/* The host's data for the functions below; it outlives the state. */
struct Run {
    const Script* script;
    int exitCode = 1;
    void* fileRead = nullptr; // the last file that host.read has read
};

Run* runOf(lua_State* L) {
    return static_cast<Run*>(lua_touserdata(L, lua_upvalueindex(1)));
}

/* Ends the script by an error. A script that catches the error cannot go on, because from now on
 * each instruction raises it again. LuaJIT calls no hooks in the machine code that it makes of busy
 * loops: there only the functions of the host check for a stop, and a second Ctrl-C always works.
 */
void checkForStop(lua_State* L, lua_Debug* = nullptr) {
    if (stopRequested()) {
        lua_sethook(L, checkForStop, LUA_MASKCOUNT, 1);
        luaL_error(L, "stopped");
    }
}

/* host.progress(fraction [, text]) */
int hostProgress(lua_State* L) {
    const double fraction = luaL_checknumber(L, 1);
    runOf(L)->script->progress->report(fraction, luaL_optstring(L, 2, ""));
    qz_publish(kProgram);
    checkForStop(L);
    return 0;
}

/* host.result(path): tells the user of a file that the script has written. */
int hostResult(lua_State* L) {
    const char* path = luaL_checkstring(L, 1);
    runOf(L)->script->progress->clear();
    std::printf("result: %s\n", path);
    return 0;
}

/* host.read(path): a file of the mounted data as a text; nil if there is none, which is logged. */
int hostRead(lua_State* L) {
    const char* path = luaL_checkstring(L, 1);
    Run* run = runOf(L);
    std::uint64_t size = 0;
    run->fileRead = vfs_read_file(path, &size);
    if (run->fileRead == nullptr) {
        return 0;
    }
    lua_pushlstring(L, static_cast<const char*>(run->fileRead), static_cast<size_t>(size));
    vfs_free_file_buffer(run->fileRead);
    run->fileRead = nullptr;
    return 1;
}

/* os.exit([code]). Replaces Lua's own, which would end the process with the log still open. */
int scriptExit(lua_State* L) {
    const bool failed = lua_isboolean(L, 1) && !lua_toboolean(L, 1);
    const int code = lua_isboolean(L, 1) ? failed : static_cast<int>(luaL_optinteger(L, 1, 0));
    requestStop(code & 0xFF);
    checkForStop(L);
    return 0;
}

void setFunction(lua_State* L, const char* name, lua_CFunction function, Run* run) {
    lua_pushlightuserdata(L, run);
    lua_pushcclosure(L, function, 1);
    lua_setfield(L, -2, name);
}

void setHostFunctions(lua_State* L, Run* run) {
    lua_newtable(L);
    setFunction(L, "progress", hostProgress, run);
    setFunction(L, "result", hostResult, run);
    setFunction(L, "read", hostRead, run);
    lua_setglobal(L, "host");

    lua_getglobal(L, "os");
    setFunction(L, "exit", scriptExit, run);
    lua_pop(L, 1);
}

void setPackagePath(lua_State* L, const Script& script) {
    lua_getglobal(L, "package");
    lua_pushstring(L, script.packagePath.c_str());
    lua_setfield(L, -2, "path");
    lua_pop(L, 1);
}

/* The global `arg`, as the stand-alone interpreter has it: the script at 0, its arguments from 1.
 */
void setArguments(lua_State* L, const Script& script) {
    lua_newtable(L);
    lua_pushstring(L, script.path.c_str());
    lua_rawseti(L, -2, 0);
    for (size_t i = 0; i < script.arguments.size(); ++i) {
        lua_pushstring(L, script.arguments[i].c_str());
        lua_rawseti(L, -2, static_cast<int>(i + 1));
    }
    lua_setglobal(L, "arg");
}

void pushArguments(lua_State* L, const Script& script) {
    luaL_checkstack(L, static_cast<int>(script.arguments.size()), "too many arguments");
    for (size_t i = 0; i < script.arguments.size(); ++i) {
        lua_pushstring(L, script.arguments[i].c_str());
    }
}

/* Loads and calls the script in a prepared state; true if it ran to its end. */
bool loadAndCall(lua_State* L, const Script& script) {
    lua_pushcfunction(L, logScriptError);
    const int handler = lua_gettop(L);
    if (QZ_lua_loadfile(L, script.path.c_str()) != 0) {
        logLoadError(L, script.name.c_str(), script.path.c_str());
        return false;
    }
    pushArguments(L, script);
    const int status = lua_pcall(L, static_cast<int>(script.arguments.size()), 0, handler);
    if (status == LUA_ERRMEM || status == LUA_ERRERR) { // Lua calls no handler for these
        logLines(script.name.c_str(), QZ_LOG_ERROR, describeError(L, -1));
    }
    return status == 0;
}

/* A step that may raise an error; it runs under protection. */
using Step = void (*)(lua_State* L, Run* run);

void prepare(lua_State* L, Run* run) {
    QZ_lua_openlibs(L);
    setHostFunctions(L, run);
    setPackagePath(L, *run->script);
    setArguments(L, *run->script);
}

void execute(lua_State* L, Run* run) {
    lua_sethook(L, checkForStop, LUA_MASKCOUNT, run->script->checks);
    if (loadAndCall(L, *run->script)) {
        run->exitCode = 0;
    }
    lua_sethook(L, nullptr, 0, 0);
}

template<Step step>
bool isDone(lua_State* L, Run& run) {
    const auto call = [](lua_State* inner) {
        step(inner, static_cast<Run*>(lua_touserdata(inner, 1)));
        return 0;
    };
    if (lua_cpcall(L, call, &run) == 0) {
        return true;
    }
    logLines(run.script->name.c_str(), QZ_LOG_ERROR, describeError(L, -1));
    lua_pop(L, 1);
    return false;
}

void giveSettings(lua_State* L, const Script& script) {
    Lua::Loader loader(L);
    loader.load("host");
    loader.createSubtable("settings");
    loader.setInt("steps", script.settings.steps);
    loader.setInt("trails", script.settings.trails);
    loader.setString("picture", systemPath(VFS_get_writedir()) + script.settings.picture);
    loader.setString("state", script.stateFile);
    loader.endSubtable();
    loader.endSubtable();
}

/* The data that the script gets besides the host's functions. */
void giveData(lua_State* L, const Script& script) {
    giveSettings(L, script);
    if (script.world) {
        giveWorld(L, *script.world);
    }
    if (!script.fresh && VFS_exists(script.stateFile.c_str())) {
        restoreState(L, script.stateFile);
    }
}

struct StateCloser {
    void operator()(lua_State* L) const { QZ_lua_close(L); }
};

} // namespace

const char* luaVersion() {
#ifdef LUAJIT_VERSION
    return LUAJIT_VERSION;
#else
    return LUA_RELEASE;
#endif
}

int runScript(const Script& script) {
    const std::unique_ptr<lua_State, StateCloser> state(QZ_lua_open(script.name.c_str()));
    if (!state) {
        hostLog(QZ_LOG_ERROR, "not enough memory for a Lua state");
        return 1;
    }
    Run run{&script};
    if (isDone<prepare>(state.get(), run)) {
        giveData(state.get(), script);
        isDone<execute>(state.get(), run);
    }
    vfs_free_file_buffer(run.fileRead);
    const int exitCode = stopRequested() ? stopCode() : run.exitCode;
    if (exitCode == 0) {
        saveState(state.get(), script.stateFile);
    }
    return exitCode;
}
