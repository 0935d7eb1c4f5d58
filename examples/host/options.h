/* The options of the command line. */
#ifndef QZ_HOST_OPTIONS_H
#define QZ_HOST_OPTIONS_H

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

struct Options {
    bool help = false;
    bool fresh = false;                 // ignore the saved state and begin anew
    std::string data;                   // the data directory; empty: search for it
    std::string world;                  // the world's file; empty: that of the settings
    std::optional<int> frames;          // empty: that of the settings
    std::optional<int> saveEvery;       // empty: that of the settings
    std::string connect;                // the name under which others may watch; empty: none
    std::string watch;                  // the name of a host to watch; empty: run a script
    bool fast = false;                  // frames are not paced
    std::string config;                 // the start-up file; empty: host.cfg of the data directory
    std::string logs;                   // the log directory; empty: below the write directory
    std::string script;                 // empty: that of the settings
    std::vector<std::string> arguments; // the script's
    std::string problem;                // what is wrong with the command line; empty: nothing
};

Options parseOptions(int count, const char* const* arguments);

void printUsage(std::FILE* stream);

#endif
