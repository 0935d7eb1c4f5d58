/* What the host needs to know before it starts anything. */
#ifndef QZ_HOST_STARTUP_H
#define QZ_HOST_STARTUP_H

#include "logging.h"

#include <string>
#include <vector>

struct Startup {
    std::string application = "qz_host"; // names the write directory
    int checks = 10000;                  // instructions between two checks for Ctrl-C
    int progressLines = 10;
    std::string logDirectory; // empty: below the write directory
    std::vector<LogOutput> logOutputs;
};

/* Reads a configuration file; entries not in the file keep their defaults. Throws UserError. */
Startup loadStartup(const std::string& file);

#endif
