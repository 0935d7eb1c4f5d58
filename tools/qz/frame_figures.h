// What the times of frames say.
#pragma once

#include "util/published_block.h"

#include <optional>
#include <vector>

// The last ones in milliseconds, the oldest first.
std::vector<double> lastFrames(const util::PublishedSnapshot& snapshot);

// Frames a second, if that is known.
std::optional<double> rateOf(const util::PublishedFigures& figures);

struct FrameFigures {
    double last, median, p90, p99, most; // milliseconds
};

// Of one frame at least.
FrameFigures figuresOf(const std::vector<double>& frames);
