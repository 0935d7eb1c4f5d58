/* Runs one Lua script in its own state. */
#ifndef QZ_HOST_SCRIPT_H
#define QZ_HOST_SCRIPT_H

#include "progress.h"
#include "settings.h"
#include "world.h"

#include <optional>
#include <string>
#include <vector>

struct Script {
    std::string path;
    std::string name; // of the state; also the module in the log
    std::string packagePath;
    std::vector<std::string> arguments;
    Settings settings;
    std::optional<World> world;
    std::string stateFile; // where its global `state` is kept between runs
    bool fresh = false;    // do not read that file
    int checks = 10000;    // instructions between two checks for Ctrl-C
    Progress* progress = nullptr;
};

/* "Lua 5.1.5" or LuaJIT's version. */
const char* luaVersion();

/* Returns the exit code: 0; 1 if the script cannot be loaded or fails, which is logged with file
 * and line; the code that the script passes to os.exit; kExitInterrupted after Ctrl-C. Throws
 * UserError if the last run's state cannot be restored, or this run's state cannot be saved. */
int runScript(const Script& script);

#endif
