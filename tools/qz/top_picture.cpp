#include "top_picture.h"

#include "frame_figures.h"
#include "log_commands.h"
#include "printable.h"
#include "terminal.h"

#include "Core/Export.h"
#include "Core/Log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <span>
#include <string_view>

namespace {

constexpr platform::TerminalSize kUsual{80, 24};
constexpr std::size_t kMostGraphColumns = 64;
constexpr std::string_view kGraphMargin = "         ";
constexpr double kStandsStill = 2; // seconds

struct Row {
    std::string text;
    const char* colour = nullptr;
    std::size_t from = 0; // the coloured part of the text
    std::size_t length = std::string::npos;
};

std::string format(const char* format, ...) QZ_PRINTF_LIKE(1, 2);

std::string format(const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string oneLine(std::string_view text) {
    std::string line = printable(text, " ");
    std::ranges::replace(line, '\t', ' ');
    return line;
}

std::string print(const Row& row, bool colours, std::size_t columns) {
    const std::string_view text = cut(row.text, columns);
    if (!colours || row.colour == nullptr || row.from >= text.size()) {
        return std::string(text);
    }
    const std::string_view part = text.substr(row.from, row.length);
    return std::string(text.substr(0, row.from)) + coloured(stdout, row.colour, part) +
           std::string(text.substr(row.from + part.size()));
}

Row head(const Look& look) {
    std::string text =
        oneLine(look.program.name) + ", process " + std::to_string(look.program.process);
    if (!look.isRunning) {
        return {text + ", has ended", "1;31"};
    }
    if (look.age && *look.age > kStandsStill) {
        return {text + format(", stands still for %.0f s", *look.age), "1;33"};
    }
    if (const auto rate = rateOf(look.snapshot.figures)) {
        text += format(", %.1f frames a second", *rate);
    }
    return {text, "1"};
}

// Each column shows the slowest of its frames, relative to the slowest of all.
std::string graph(const std::vector<double>& frames, double most, std::size_t columns) {
    static constexpr const char* kSteps[] = {"\u2581", "\u2582", "\u2583", "\u2584",
                                             "\u2585", "\u2586", "\u2587", "\u2588"};
    const std::size_t aColumn = (frames.size() + columns - 1) / columns;
    std::string drawn;
    for (std::size_t first = 0; first < frames.size(); first += aColumn) {
        const auto part =
            std::span(frames).subspan(first, std::min(aColumn, frames.size() - first));
        const double share = most > 0 ? std::ranges::max(part) / most : 0;
        drawn += kSteps[std::min<std::size_t>(static_cast<std::size_t>(share * 8), 7)];
    }
    return drawn;
}

std::size_t graphColumns(std::size_t columns) {
    return columns > kGraphMargin.size()
               ? std::min(columns - kGraphMargin.size(), kMostGraphColumns)
               : 1;
}

void addFrames(std::vector<Row>& rows, const Look& look, std::size_t columns) {
    const std::vector<double> frames = lastFrames(look.snapshot);
    if (frames.empty()) {
        rows.push_back({"frame    no times: globalProfiler has not been started"});
        return;
    }
    const FrameFigures figures = figuresOf(frames);
    rows.push_back({format("frame    %.2f ms; last %zu: median %.2f, p90 %.2f, p99 %.2f, most %.2f",
                           figures.last, frames.size(), figures.median, figures.p90, figures.p99,
                           figures.most)});
    rows.push_back(
        {std::string(kGraphMargin) + graph(frames, figures.most, graphColumns(columns)), "32"});
}

Row tasks(const Look& look) {
    const util::PublishedFigures& figures = look.snapshot.figures;
    if (figures.workers == 0) {
        return {"tasks    no workers"};
    }
    return {format("tasks    %u running, %u waiting, %u for the main thread; %u workers",
                   figures.tasksRunning, figures.tasksWaiting, figures.mainThreadTasks,
                   figures.workers)};
}

void addWatches(std::vector<Row>& rows, const Look& look) {
    const auto watches = std::span(look.snapshot.watches)
                             .first(static_cast<std::size_t>(look.snapshot.figures.watches));
    std::size_t width = 0;
    for (const util::PublishedWatch& watch : watches) {
        width = std::max(width, columnsOf(oneLine(watch.name)));
    }
    for (const util::PublishedWatch& watch : watches) {
        rows.push_back({padded(oneLine(watch.name), width + 2) + oneLine(watch.value)});
    }
}

Row rowOf(const LogLine& line) {
    const std::string time = timeOfLine(line) + " ";
    const std::string level = qz_log_level_name(line.level);
    const int rank = rankOfLevel(line.level);
    return {time + padded(level, 8) + oneLine(line.module) + ": " + oneLine(line.text),
            rank >= 0 ? qz_log_levels()[rank].colour : nullptr, time.size(), level.size()};
}

// Adds as many lines as there is room for, and at least one.
void addLines(std::vector<Row>& rows, const Look& look, std::size_t mostRows) {
    const std::size_t room = rows.size() + 1 < mostRows ? mostRows - rows.size() : 1;
    const std::size_t count = std::min(room, look.lines.size());
    for (std::size_t i = look.lines.size() - count; i < look.lines.size(); ++i) {
        rows.push_back(rowOf(look.lines[i]));
    }
}

} // namespace

// One row is left free for the cursor, which stands behind the last row.
std::string pictureOf(const Look& look, bool colours,
                      const std::optional<platform::TerminalSize>& terminal) {
    const platform::TerminalSize size = terminal.value_or(kUsual);
    std::vector<Row> rows{head(look)};
    addFrames(rows, look, size.columns);
    rows.push_back(tasks(look));
    rows.emplace_back();
    addWatches(rows, look);
    rows.emplace_back();
    addLines(rows, look, size.rows - 1);
    if (terminal && rows.size() >= size.rows) {
        rows.resize(size.rows - 1);
    }
    std::string picture;
    for (const Row& row : rows) {
        picture += print(row, colours, size.columns) + "\n";
    }
    return picture;
}
