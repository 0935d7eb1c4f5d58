#include "frame_figures.h"
#include "top_picture.h"

#include "Core/Log.h"

#include "core/json_text.h"

#include <charconv>
#include <cmath>
#include <span>
#include <utility>

namespace {

// Three decimals: microseconds for times in milliseconds, milliseconds for times in seconds.
std::string number(double value) {
    char digits[400];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 3).ptr;
    return std::isfinite(value) ? std::string(digits, end) : "null";
}

std::string framesOf(const util::PublishedSnapshot& snapshot) {
    const auto rate = rateOf(snapshot.figures);
    const std::vector<double> frames = lastFrames(snapshot);
    std::string json = "{\"count\": " + std::to_string(snapshot.figures.frames) +
                       ", \"per_second\": " + (rate ? number(*rate) : "null") +
                       ", \"milliseconds\": ";
    if (frames.empty()) {
        return json + "null}";
    }
    const FrameFigures figures = figuresOf(frames);
    return json + "{\"of\": " + std::to_string(frames.size()) +
           ", \"last\": " + number(figures.last) + ", \"median\": " + number(figures.median) +
           ", \"p90\": " + number(figures.p90) + ", \"p99\": " + number(figures.p99) +
           ", \"max\": " + number(figures.most) + "}}";
}

std::string tasksOf(const util::PublishedFigures& figures) {
    return "{\"workers\": " + std::to_string(figures.workers) +
           ", \"running\": " + std::to_string(figures.tasksRunning) +
           ", \"waiting\": " + std::to_string(figures.tasksWaiting) +
           ", \"main_thread\": " + std::to_string(figures.mainThreadTasks) + "}";
}

std::string watchesOf(const util::PublishedSnapshot& snapshot) {
    std::string json = "{";
    const char* separator = "";
    for (const util::PublishedWatch& watch :
         std::span(snapshot.watches).first(static_cast<std::size_t>(snapshot.figures.watches))) {
        json += std::exchange(separator, ", ") + core::jsonText(watch.name) + ": " +
                core::jsonText(watch.value);
    }
    return json + "}";
}

std::string lineOf(const LogLine& line) {
    return "{\"time\": " + number(line.time) +
           ", \"level\": " + core::jsonText(qz_log_level_name(line.level)) +
           ", \"module\": " + core::jsonText(line.module) +
           ", \"message\": " + core::jsonText(line.text) +
           ", \"lost\": " + std::to_string(line.lost) + "}";
}

} // namespace

std::string jsonOf(const Look& look) {
    std::string log;
    for (const LogLine& line : look.lines) {
        log += (log.empty() ? "" : ", ") + lineOf(line);
    }
    return "{\"name\": " + core::jsonText(look.program.name) +
           ", \"process\": " + std::to_string(look.program.process) +
           ", \"running\": " + (look.isRunning ? "true" : "false") +
           ", \"age\": " + (look.age ? number(*look.age) : "null") +
           ", \"frames\": " + framesOf(look.snapshot) +
           ", \"tasks\": " + tasksOf(look.snapshot.figures) +
           ", \"watches\": " + watchesOf(look.snapshot) + ", \"log\": [" + log + "]}";
}
