/* What the host does unless the command line says otherwise. */
#ifndef QZ_HOST_SETTINGS_H
#define QZ_HOST_SETTINGS_H

#include <string>

struct Settings {
    std::string script = "flock.lua"; // both in the data directory
    std::string world = "archipelago.lua";
    int steps = 1100;
    std::string picture = "flock.svg"; // in the directory of results
    int trails = 7;
    int frames = 300;    // of the ferries, after the script
    int rate = 60;       // of these a second
    int saveEvery = 0;   // so many frames, too; 0: at the end alone
    bool fast = false;   // as fast as they can
    std::string connect; // under which name others may watch them; empty: none
};

/* Reads a Lua file of settings; those that it leaves out keep their values. Throws UserError. */
Settings loadSettings(const std::string& file);

#endif
