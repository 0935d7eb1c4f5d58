// The commands of qz conf, after the command line was parsed.
#pragma once

#include "Config/ConfigParser.h"

#include <string>
#include <vector>

struct ConfOptions {
    bool bareLineFeeds = false; // --lf
    bool write = false;         // --write
    bool asString = false;      // --string
};

// Reports every file that is no valid configuration; returns the exit code.
int confCheck(const std::vector<std::string>& files, const ConfOptions& options);

// The other commands throw Failure.
void confGet(const std::string& file, const std::string& path, const ConfOptions& options);
void confSet(const std::string& file, const std::string& path, const std::string& value,
             const ConfOptions& options);
void confFixLineEnds(const std::vector<std::string>& files);
void confFormat(const std::string& file, const ConfOptions& options);
void confJson(const std::string& file, const ConfOptions& options);

// Prints one value: texts as they are, blocks and lists as JSON.
void printValue(const ConfigParser::iterator& entry);
