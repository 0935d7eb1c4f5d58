/* Settings that an administrator may change while the server runs. */
#ifndef QZ_SERVER_SETTINGS_H
#define QZ_SERVER_SETTINGS_H

#include <filesystem>
#include <string>

struct Settings {
    double frameRate = 60;    // frames a second
    double snapshotRate = 10; // snapshots a second
    double letters = 0.5;     // letters that each actor begins per second
    int searches = 40;        // searches for ways that may begin in a frame
    bool paused = false;

    std::filesystem::file_time_type written{}; // the file, when it was read last
};

/* Reads the file if it has changed. If it has mistakes, they are logged with file and line, and all
 * settings stay as they were. */
void refresh(Settings& settings, const std::string& path);

#endif
