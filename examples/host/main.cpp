/* An example of a host: opens the log, chooses the directories, reads its settings and its world,
 * runs a Lua script, saves the script's state, and lets ferries sail in frames. Copy it as the
 * start of your own host. */
#include "channel.h"
#include "directories.h"
#include "frames.h"
#include "logging.h"
#include "options.h"
#include "progress.h"
#include "script.h"
#include "settings.h"
#include "startup.h"
#include "stop.h"
#include "user_error.h"
#include "watcher.h"
#include "world.h"

#include "Core/CrashReport.h"
#include "Core/Environment.h"
#include "Core/Log.h"
#include "Util/Publish.h"
#include "VFS/Archive.h"
#include "VFS/File.h"
#include "VFS/Locations.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace {

enum { kExitFailure = 1, kExitUsage = 2 };

int refuse(const std::string& problem, int exitCode) {
    std::fprintf(stderr, "qz_host: %s\n", problem.c_str());
    if (exitCode == kExitUsage) {
        printUsage(stderr);
    }
    return exitCode;
}

/* Fills in the options that are not given; returns what is wrong, or an empty text. */
std::string complete(Options& options) {
    if (!options.data.empty() && !VFS_isdir(options.data.c_str())) {
        return "there is no directory " + options.data;
    }
    if (options.data.empty()) {
        options.data = findData();
    }
    if (options.script.empty() && options.data.empty() && options.watch.empty()) {
        return "the data directory is not found; name it with --data, or name a script";
    }
    return {};
}

/* The data directory need not have a start-up file; a file that the user names must exist. */
Startup readStartup(const Options& options) {
    if (!options.config.empty()) {
        return loadStartup(options.config);
    }
    const std::string file = options.data + "/host.cfg";
    return !options.data.empty() && VFS_exists(file.c_str()) ? loadStartup(file) : Startup();
}

Settings readSettings(const Options& options) {
    const std::string file = options.data + "/settings.lua";
    return !options.data.empty() && VFS_exists(file.c_str()) ? loadSettings(file) : Settings();
}

/* A script that the user names gets a world only if the user names one too. */
std::string worldFile(const Options& options, const Settings& settings) {
    const bool isDefault = options.world.empty() && options.script.empty();
    return isDefault ? options.data + "/" + settings.world : options.world;
}

/* Runs no frames if the script has failed or was stopped. */
void runFramesAfter(int exitCode, const Script& script) {
    if (exitCode == 0 && script.world && script.settings.frames > 0) {
        runFrames(*script.world, script.settings, script.fresh);
    }
}

Script describeScript(const Options& options, const Settings& settings) {
    Script script;
    script.path = options.script.empty() ? options.data + "/" + settings.script : options.script;
    script.name = stemOf(script.path);
    if (script.name.empty()) {
        script.name = "script"; // an empty module would filter nothing
    }
    const std::string directory = directoryOf(script.path);
    script.packagePath = directory + "?.lua;" + directory + "lib/?.lua";
    script.arguments = options.arguments;
    script.settings = settings;
    if (const std::string world = worldFile(options, settings); !world.empty()) {
        script.world = loadWorld(world);
    }
    script.stateFile = systemPath(VFS_get_writedir()) + script.name + ".state.lua";
    script.fresh = options.fresh;
    return script;
}

void logStart(const Script& script) {
    hostLog(QZ_LOG_INFO, "running %s with %s", script.path.c_str(), luaVersion());
    hostLog(QZ_LOG_DEBUG, "base directory: %s", systemPath(VFS_get_basedir()).c_str());
    hostLog(QZ_LOG_DEBUG, "write directory: %s", systemPath(VFS_get_writedir()).c_str());
    hostLog(QZ_LOG_DEBUG, "command line: %s", SYS_cmdline());
}

void logEnd(int exitCode) {
    if (exitCode == kExitInterrupted) {
        hostLog(QZ_LOG_WARNING, "interrupted");
    } else if (exitCode != 0) {
        hostLog(QZ_LOG_ERROR, "the script failed, exit code %d", exitCode);
    } else {
        hostLog(QZ_LOG_INFO, "done");
    }
}

int watch(const Options& options) {
    catchInterrupts();
    watchFleet(options.watch);
    return stopCode();
}

int work(const Options& options, const Startup& startup) {
    Progress progress(startup.progressLines);
    mountData(options.data);
    Settings settings = readSettings(options);
    settings.frames = options.frames.value_or(settings.frames);
    settings.saveEvery = options.saveEvery.value_or(settings.saveEvery);
    settings.fast = options.fast;
    settings.connect = options.connect;
    if (!settings.connect.empty()) {
        Channel(settings.connect); // ends the host now, and not after the script, if it fails
    }
    Script script = describeScript(options, settings);
    script.checks = startup.checks;
    script.progress = &progress;
    logScript(script.name);
    logStart(script);
    catchInterrupts();
    qz_publish(kProgram);
    int exitCode = runScript(script);
    progress.clear();
    runFramesAfter(exitCode, script);
    if (stopRequested()) {
        exitCode = stopCode();
    }
    logEnd(exitCode);
    return exitCode;
}

/* Prints any error as one line. */
int workOrExplain(const Options& options, const Startup& startup) {
    try {
        return options.watch.empty() ? work(options, startup) : watch(options);
    } catch (const std::exception& failure) {
        hostLog(QZ_LOG_ERROR, "%s", failure.what());
        return kExitFailure;
    }
}

std::string logDirectory(const Options& options, const Startup& startup) {
    if (!options.logs.empty()) {
        return options.logs;
    }
    const std::string directory = startup.logDirectory.empty()
                                      ? systemPath(VFS_get_writedir()) + "logs"
                                      : startup.logDirectory;
    return options.watch.empty() ? directory : directory + "/watcher";
}

/* Reports of earlier runs get their symbols before this run can leave one. */
void watchForCrashes(const std::string& directory) {
    if (const int reports = bt_retrace((directory + "/").c_str()); reports > 0) {
        hostLog(QZ_LOG_WARNING, "it crashed: %d new reports (.crash.info) in %s", reports,
                directory.c_str());
    }
    bt_init((directory + "/qz_host").c_str());
}

int run(const Options& options, const Startup& startup) {
    const TempDirectory temp;
    chooseDirectories(startup.application, options.data);
    const std::string logs = logDirectory(options, startup);
    const bool logging = startLog(logs);
    if (!logging) {
        hostLog(QZ_LOG_WARNING, "no log files: %s cannot be written", logs.c_str());
    }
    std::ranges::for_each(startup.logOutputs, openOutput);
    watchForCrashes(logs);
    const int exitCode = workOrExplain(options, startup);
    if (logging) {
        std::printf("logs:   %s\n", logs.c_str());
    }
    qz_publish_stop();
    vfs_deinit();
    VFS_exit();
    bt_fini();
    qz_log_stop();
    return exitCode;
}

} // namespace

int main() {
    // The library's own argument list, because it is UTF-8 on Windows too.
    Options options = parseOptions(SYS_argc(), SYS_argv());
    if (!options.problem.empty()) {
        return refuse(options.problem, kExitUsage);
    }
    if (options.help) {
        printUsage(stdout);
        return 0;
    }
    if (const std::string problem = complete(options); !problem.empty()) {
        return refuse(problem, kExitFailure);
    }
    try {
        return run(options, readStartup(options));
    } catch (const UserError& mistake) {
        return refuse(mistake.what(), kExitFailure);
    }
}
