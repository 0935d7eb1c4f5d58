// The commands of qz log, after the command line has been taken apart.
#pragma once

#include <chrono>
#include <limits>
#include <string>

struct FollowOptions {
    int rank = -1;      // --level: as rankOfLevel has it; -1: every line
    std::string module; // --module: empty: every one's
    std::string text;   // --grep
    bool colours = true;
    unsigned long count = std::numeric_limits<unsigned long>::max();
    std::chrono::duration<double> time{std::numeric_limits<double>::infinity()};
};

// 0 for the most severe; -1 if there is no level of that name, in capitals.
int rankOfLevel(const std::string& name);

void logList();

// Throws Failure if there is no such log.
void logFollow(const std::string& name, const FollowOptions& options);
