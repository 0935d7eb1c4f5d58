#include "frames.h"

#include "broadcast.h"
#include "directories.h"
#include "fleet.h"
#include "letters.h"
#include "logbook.h"
#include "logging.h"
#include "stop.h"
#include "user_error.h"

#include "Common/Profiler.h"
#include "Core/Log.h"
#include "Globals.h"
#include "Tasks/TaskManager.h"
#include "Util/FPS_Controller.h"
#include "Util/Publish.h"
#include "VFS/Locations.h"

#include <cstdio>
#include <optional>

namespace {

constexpr double kSecondsForMainThreadTasks = 0.002;
constexpr double kSecondsForTasksToEnd = 2.0;

std::string resultFile(const std::string& name) {
    return systemPath(VFS_get_writedir()) + name;
}

/* Tasks refer to objects of the host, so they must end before these are destroyed. */
class EndOfTasks {
public:
    EndOfTasks() = default;
    ~EndOfTasks() {
        while (QZ_shutdown_tasks(kSecondsForTasksToEnd) == 0) {
            hostLog(QZ_LOG_WARNING, "waiting for a task that is still running");
        }
    }
    EndOfTasks(const EndOfTasks&) = delete;
    EndOfTasks& operator=(const EndOfTasks&) = delete;
};

void runFrame(Fleet& fleet, double seconds) {
    globalProfiler.startFrame();
    {
        const Common::ProfiledFunc section("main-thread tasks");
        QZ_make_main_thread_task(kSecondsForMainThreadTasks);
    }
    {
        const Common::ProfiledFunc section("ferries");
        fleet.update(seconds);
    }
    globalProfiler.endFrame();
}

void save(const std::string& file, const Fleet& fleet) {
    const Common::ProfiledFunc section("save");
    FleetState state = fleet.state();
    saveFleet(file, state);
}

/* Returns how many frames ran. Frames are paced, unless the settings say `fast`. Each frame is a
 * step of the same length, so that ferries sail the same way on every machine. */
int sail(Fleet& fleet, const Settings& settings, const std::string& file, Broadcast* broadcast) {
    globalFpsController->SetMaxFPS(settings.fast ? 0 : static_cast<float>(settings.rate));
    globalFpsController->Reset(); // the start-up does not count as a frame
    int frame = 0;
    for (; frame < settings.frames && !stopRequested(); ++frame) {
        globalFpsController->StartFrame();
        runFrame(fleet, 1.0 / settings.rate);
        if (settings.saveEvery > 0 && (frame + 1) % settings.saveEvery == 0) {
            save(file, fleet);
        }
        if (broadcast != nullptr) {
            const Common::ProfiledFunc section("broadcast");
            broadcast->send(fleet.state());
        }
        qz_publish(kProgram);
    }
    const double duration = globalFpsController->totalTime();
    if (duration > 0) {
        hostLog(QZ_LOG_INFO, "%.1f frames a second", frame / duration);
    }
    return frame;
}

void logVoyages(const Fleet& fleet, int frames) {
    hostLog(QZ_LOG_INFO, "%d frames, %d arrivals", frames, fleet.arrivals());
    hostLog(postage().lost == 0 ? QZ_LOG_INFO : QZ_LOG_WARNING, "%llu letters, %llu of them lost",
            static_cast<unsigned long long>(postage().letters),
            static_cast<unsigned long long>(postage().lost));
    hostLog(QZ_LOG_INFO, "the lookout had %d reports, its predictions were off by %.1f on average",
            fleet.lookout().state().reports, fleet.lookout().meanError());
}

void logSection(void*, const char* name, const Common::Profiler::Statistics& section) {
    hostLog(QZ_LOG_DEBUG, "%s: %llu times, %.3f ms on average, %.3f ms at most", name,
            static_cast<unsigned long long>(section.count), section.average * 1e3,
            section.maximum * 1e3);
}

void writeProfile() {
    const std::string file = resultFile("profile.json");
    globalProfiler.stop();
    globalProfiler.visit(logSection, nullptr);
    if (!globalProfiler.writeTrace(file.c_str())) {
        throw UserError(file + " cannot be written");
    }
    std::printf("result: %s\n", file.c_str());
}

/* Continues from the end of the last run, or begins anew. A state that does not fit is replaced
 * only if `fresh` is set. */
void start(Fleet& fleet, const std::string& file, bool fresh) {
    const std::optional<FleetState> state = fresh ? std::nullopt : loadFleet(file);
    if (!state) {
        fleet.begin();
    } else if (fleet.resume(*state)) {
        hostLog(QZ_LOG_INFO, "the ferries go on from frame %u", state->frames);
    } else {
        throw UserError(file + " is of another world; --fresh begins anew");
    }
}

} // namespace

void runFrames(const World& world, const Settings& settings, bool fresh) {
    const std::string file = resultFile("logbook.txt");
    const std::string saved = resultFile(stemOf(world.file) + ".ferries.qzo");
    {
        std::optional<Broadcast> broadcast;
        if (!settings.connect.empty()) {
            broadcast.emplace(settings.connect, world);
        }
        Logbook logbook(file);
        Fleet fleet(world, logbook);
        const EndOfTasks endOfTasks;
        start(fleet, saved, fresh);
        globalProfiler.start();
        logVoyages(fleet, sail(fleet, settings, saved, broadcast ? &*broadcast : nullptr));
        if (broadcast) {
            hostLog(QZ_LOG_INFO, "sent %s", broadcast->traffic().text().c_str());
        }
        FleetState state = fleet.state();
        saveFleet(saved, state);
        hostLog(QZ_LOG_INFO, "fingerprint of the ferries: %u", fingerprint(state));
    }
    std::printf("result: %s\n", file.c_str());
    writeProfile();
}
