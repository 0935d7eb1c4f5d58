/* The host's settings, for what the command line leaves open. */
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
    int rate = 60;       // frames a second
    int saveEvery = 0;   // save also after so many frames; 0: only at the end
    bool fast = false;   // frames are not paced
    std::string connect; // the name under which others may watch the ferries; empty: none
};

/* Reads a Lua file of settings; settings not in the file keep their defaults. Throws UserError. */
Settings loadSettings(const std::string& file);

#endif
