// Figures about the times of frames.
#pragma once

#include "util/published_block.h"

#include <optional>
#include <vector>

// The times of the last frames in milliseconds, the oldest first.
std::vector<double> lastFrames(const util::PublishedSnapshot& snapshot);

// Frames a second; empty if not yet measured.
std::optional<double> rateOf(const util::PublishedFigures& figures);

struct FrameFigures {
    double last, median, p90, p99, most; // milliseconds
};

// `frames` must have at least one.
FrameFigures figuresOf(const std::vector<double>& frames);
