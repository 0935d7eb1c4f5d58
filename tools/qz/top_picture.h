// One look at a program, for people and for programs.
#pragma once

#include "published.h"

#include <deque>
#include <string>

struct Look {
    Program program;
    bool isRunning = true;
    util::PublishedSnapshot snapshot{};
    double age = 0; // of the snapshot, in seconds
    std::deque<LogLine> lines;
};

// Rows of at most 80 columns, 23 at most unless there are many watches.
std::string pictureOf(const Look& look, bool colours);

// One line of JSON.
std::string jsonOf(const Look& look);
