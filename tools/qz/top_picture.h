// One look at a program, for people and for programs.
#pragma once

#include "published.h"

#include <deque>
#include <optional>
#include <string>

struct Look {
    Program program;
    bool isRunning = true;
    util::PublishedSnapshot snapshot{};
    std::optional<double> age; // of the snapshot, in seconds; nothing: none is there yet
    std::deque<LogLine> lines;
};

// Rows of at most 80 columns, 23 at most unless there are many watches.
std::string pictureOf(const Look& look, bool colours);

// One line of JSON.
std::string jsonOf(const Look& look);
