// One look at a program, for people and for programs.
#pragma once

#include "published.h"

#include "platform/terminal.h"

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

// Rows that a terminal of this size shows without scrolling. Without one these have at most 80
// columns and are 23, more if there are many watches.
std::string pictureOf(const Look& look, bool colours,
                      const std::optional<platform::TerminalSize>& terminal);

// One line of JSON.
std::string jsonOf(const Look& look);
