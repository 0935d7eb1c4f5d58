// The commands of qz log, after the command line was parsed.
#pragma once

#include <chrono>
#include <limits>
#include <string>

struct LogLine;

struct FollowOptions {
    int rank = -1;      // --level, as rankOfLevel returns it; -1: all levels
    std::string module; // --module; empty: all modules
    std::string text;   // --grep
    bool colours = true;
    unsigned long count = std::numeric_limits<unsigned long>::max();
    std::chrono::duration<double> time{std::numeric_limits<double>::infinity()};
};

// 0 for the most severe; -1 if there is no such level.
int rankOfLevel(unsigned int level);

// "00012.345"
std::string timeOfLine(const LogLine& line);

void logList();

// Throws Failure if there is no such program.
void logFollow(const std::string& name, const FollowOptions& options);
