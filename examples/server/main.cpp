/* A small game server: a thousand actors walk, write to each other, and are saved in snapshots. */
#include "snapshot.h"

#include "Common/Profiler.h"
#include "Core/CrashReport.h"
#include "Core/Environment.h"
#include "Core/Log.h"
#include "Globals.h"
#include "Tasks/TaskManager.h"
#include "Util/ConsoleArgs.h"
#include "Util/FPS_Controller.h"
#include "Util/Publish.h"
#include "VFS/File.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>

QZ_LOG_ECHO_LEVELS(QZ_LOG_ALERT | QZ_LOG_ERROR | QZ_LOG_WARNING);

namespace {

constexpr char kProgram[] = "qz_server"; // qz top qz_server, qz log follow qz_server

std::atomic<int> exitCode{0}; // not 0: a signal asks the server to end

/* The first signal asks the server to end, the second one ends the process at once. */
extern "C" void onSignal(int signal) {
    std::signal(signal, SIG_DFL);
    exitCode.store(128 + signal);
}

void refuseOthers(const qz::ConsoleArgs& args) {
    bool isWrong = !args.getUnknown({"--directory", "--frames"}).empty();
    for (const char* const option : {"--directory", "--frames"}) {
        isWrong = isWrong || (args.defined(option) && args.getAllValues(option).size() != 1);
    }
    if (isWrong || args.getAllValues("").size() > 1) { // the first is the program's name
        throw std::runtime_error("usage: qz_server [--directory DIR] [--frames N]");
    }
}

/* A file in the server's directory, or, if there is none, the file beside the program. */
std::string findFile(const std::string& directory, const char* name) {
    const std::string own = directory + "/" + name;
    return VFS_exists(own.c_str()) ? own : std::string(SYS_bindir()) + "/server/" + name;
}

/* Tasks refer to objects of the server, so they must end before these are destroyed. */
struct EndOfTasks {
    ~EndOfTasks() {
        while (QZ_shutdown_tasks(2.0) == 0) {
            qz_log("SERVER", QZ_LOG_WARNING, "waiting for a task that is still running");
        }
    }
};

/* frames: 0 runs until a signal asks the server to end. */
void serve(const std::string& directory, int frames) {
    const World world = loadWorld(findFile(directory, "world.lua"));
    const std::string config = findFile(directory, "server.cfg");
    Settings settings;
    Crowd crowd(world);
    SnapshotWriter snapshots(directory);
    const EndOfTasks endOfTasks;
    globalFpsController->Reset(); // the start-up does not count as a frame
    int frame = 0;
    for (double due = 0; exitCode == 0 && (frames == 0 || frame < frames); ++frame) {
        refresh(settings, config);
        globalProfiler.startFrame();
        QZ_make_main_thread_task(0.002);
        crowd.update(settings);
        due += settings.snapshotRate / settings.frameRate;
        if (due > 0.999 && !snapshots.isBusy()) { // 0.999 because it is rounded
            due = std::min(due - 1, 1.0);
            snapshots.write(crowd);
        }
        globalProfiler.endFrame();
        qz_publish(kProgram);
        globalFpsController->SetMaxFPS(static_cast<float>(settings.frameRate));
        globalFpsController->StartFrame();
    }
    const double seconds = globalFpsController->totalTime();
    while (snapshots.isBusy()) {
        QZ_make_main_thread_task(0.002);
        globalFpsController->StartFrame();
    }
    std::printf("%d frames, %.2f ms each, %u actors, %llu messages, %llu paths found, "
                "%llu snapshots of %llu bytes, %llu failed\n",
                frame, seconds * 1e3 / std::max(frame, 1), Crowd::kActors, Actor::letters,
                Actor::ways, snapshots.written, snapshots.bytes, snapshots.failed);
}

} // namespace

int main() {
    try {
        const qz::ConsoleArgs args(SYS_argc(), SYS_argv());
        std::string directory = "."; // for all that is written
        int frames = 0;
        refuseOthers(args);
        args.getOptionalString("--directory", directory);
        args.getOptionalInt("--frames", frames);
        VFS_mkdir(directory.c_str());
        bt_retrace((directory + "/").c_str());
        bt_init((directory + "/" + kProgram).c_str());
        qz_publish(kProgram); // before the log, so that followers see its beginning
        qz_log_start(directory.c_str(), kProgram);
        std::signal(SIGINT, onSignal);
        std::signal(SIGTERM, onSignal);
        globalProfiler.start();
        serve(directory, frames);
        if (!globalProfiler.writeTrace((directory + "/trace.json").c_str())) {
            throw std::runtime_error("trace.json cannot be written");
        }
    } catch (const std::exception& failure) {
        qz_log("SERVER", QZ_LOG_ERROR, failure.what());
        exitCode = 1;
    }
    qz_publish_stop();
    bt_fini();
    qz_log_stop();
    return exitCode;
}
