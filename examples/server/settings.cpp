#include "settings.h"

#include "Config/SettingsReader.h"
#include "Core/Log.h"

void refresh(Settings& settings, const std::string& path) {
    std::error_code error; // a file that is missing for a moment is being replaced
    const auto written = std::filesystem::last_write_time(path, error);
    if (error || written == settings.written) {
        return;
    }
    ConfigParser parser;
    const qz::SettingsReader reader(parser, path);
    Settings fresh;
    fresh.written = settings.written = written;
    reader.read("frame_rate", fresh.frameRate, 1, 1000);
    reader.read("snapshot_rate", fresh.snapshotRate, 0.1, 100);
    reader.read("letters", fresh.letters, 0, 20);
    reader.read("searches", fresh.searches, 1, 1000);
    reader.read("paused", fresh.paused);
    const auto problems = reader.problems();
    for (const qz::SettingsReader::Problem& problem : problems) {
        qz_log("SERVER", QZ_LOG_WARNING, problem.message().c_str());
    }
    if (problems.empty()) {
        settings = fresh;
        qz_logf("SERVER", QZ_LOG_INFO, "read %s", path.c_str());
    }
}
