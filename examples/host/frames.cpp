#include "frames.h"

#include "directories.h"
#include "fleet.h"
#include "logbook.h"
#include "logging.h"
#include "stop.h"
#include "user_error.h"

#include "Common/Profiler.h"
#include "Core/Log.h"
#include "Tasks/TaskManager.h"
#include "VFS/Locations.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kSecondsForMainThreadTasks = 0.002;
constexpr double kSecondsForTasksToEnd = 2.0;

std::string resultFile(const char* name) {
    return systemPath(VFS_get_writedir()) + name;
}

/* What is under way refers to what is about to go. */
class EndOfTasks {
public:
    EndOfTasks() = default;
    ~EndOfTasks() {
        if (QZ_shutdown_tasks(kSecondsForTasksToEnd) == 0) {
            hostLog(QZ_LOG_WARNING, "a task is still running");
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

/* Returns how many frames ran. */
int sail(Fleet& fleet, const Settings& settings) {
    const double seconds = 1.0 / settings.rate;
    const auto length =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    auto next = Clock::now();
    int frame = 0;
    for (; frame < settings.frames && !stopRequested(); ++frame) {
        runFrame(fleet, seconds);
        next += length;
        std::this_thread::sleep_until(next);
    }
    return frame;
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

} // namespace

void runFrames(const World& world, const Settings& settings) {
    const std::string file = resultFile("logbook.txt");
    {
        Logbook logbook(file);
        Fleet fleet(world, logbook);
        const EndOfTasks endOfTasks;
        globalProfiler.start();
        const int frames = sail(fleet, settings);
        hostLog(QZ_LOG_INFO, "%d frames, %zu ferries, %d arrivals", frames, world.ferries.size(),
                fleet.arrivals());
    }
    std::printf("result: %s\n", file.c_str());
    writeProfile();
}
