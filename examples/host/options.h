/* What the command line asks for. */
#ifndef QZ_HOST_OPTIONS_H
#define QZ_HOST_OPTIONS_H

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

struct Options {
    bool help = false;
    bool fresh = false;                 // leave the saved state alone and begin anew
    std::string data;                   // the data directory; empty: to be looked for
    std::string world;                  // the world's file; empty: what the settings say
    std::optional<int> frames;          // what the settings say unless it is given
    std::optional<int> saveEvery;       // likewise
    std::string connect;                // under which name others may watch; empty: none
    std::string watch;                  // whom to watch in place of running anything
    bool fast = false;                  // frames wait for no clock
    std::string config;                 // the start-up file; empty: host.cfg of the data directory
    std::string logs;                   // the log directory; empty: below the write directory
    std::string script;                 // empty: what the settings say
    std::vector<std::string> arguments; // what follows the script
    std::string problem;                // what is wrong with the command line; empty if nothing is
};

Options parseOptions(int count, const char* const* arguments);

void printUsage(std::FILE* stream);

#endif
