// Shows one snapshot of a program, for people and for programs.
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
    std::optional<double> age; // of the snapshot, in seconds; empty: there is none yet
    std::deque<LogLine> lines;
};

// Rows that a terminal of this size shows without scrolling. Without a size there are 23 rows, or
// more if there are many watches, of at most 80 columns.
std::string pictureOf(const Look& look, bool colours,
                      const std::optional<platform::TerminalSize>& terminal);

// One line of JSON.
std::string jsonOf(const Look& look);
