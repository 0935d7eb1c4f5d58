#include "frame_figures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr double kNanosecondsAMillisecond = 1e6;
constexpr double kNanosecondsASecond = 1e9;

// The smallest value that at least this share of the values do not exceed.
double percentile(const std::vector<double>& sorted, double share) {
    const double place = std::ceil(share * static_cast<double>(sorted.size()));
    return sorted[static_cast<std::size_t>(std::max(place, 1.0)) - 1];
}

} // namespace

std::vector<double> lastFrames(const util::PublishedSnapshot& snapshot) {
    const std::uint64_t end = snapshot.figures.frames;
    const std::uint64_t count = std::min<std::uint64_t>(end, util::kPublishedFrames);
    std::vector<double> frames;
    for (std::uint64_t frame = end - count; frame != end; ++frame) {
        const std::uint64_t time = snapshot.frameTimes[frame % util::kPublishedFrames];
        frames.push_back(static_cast<double>(time) / kNanosecondsAMillisecond);
    }
    return frames;
}

std::optional<double> rateOf(const util::PublishedFigures& figures) {
    if (figures.frames == 0 || figures.rateNanoseconds == 0) {
        return std::nullopt;
    }
    return static_cast<double>(figures.rateFrames) /
           (static_cast<double>(figures.rateNanoseconds) / kNanosecondsASecond);
}

FrameFigures figuresOf(const std::vector<double>& frames) {
    std::vector<double> sorted = frames;
    std::ranges::sort(sorted);
    return {frames.back(), percentile(sorted, 0.5), percentile(sorted, 0.9),
            percentile(sorted, 0.99), sorted.back()};
}
