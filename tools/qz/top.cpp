#include "top.h"

#include "command_line.h"
#include "published.h"
#include "terminal.h"
#include "top_picture.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

const char kTopUsage[] =
    "Usage: qz top [options] NAME\n"
    "\n"
    "Shows a running program that publishes itself: frames, tasks, watches and the last\n"
    "lines of its log, twice a second until Ctrl-C. When the program ends, the next one of that\n"
    "name is shown. NAME.NUMBER means one process only; qz log list prints the numbers.\n"
    "\n"
    "  --once             print once and end\n"
    "  --json             print a line of JSON each time\n"
    "  --no-color         no colours\n"
    "  --timeout SECONDS  end after this time\n";

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::chrono::milliseconds kPause(500);
constexpr std::size_t kMostLines = 20;

struct Options {
    std::string name;
    bool once = false;
    bool json = false;
    bool colours = true;
    Seconds time{std::numeric_limits<double>::infinity()};
};

Options parse(const Arguments& arguments) {
    CommandLine line(arguments);
    Options options;
    while (!line.isAtEnd()) {
        const std::string option = line.takeOption();
        if (option == "--once") {
            options.once = true;
        } else if (option == "--json") {
            options.json = true;
        } else if (option == "--no-color") {
            options.colours = false;
        } else if (option == "--timeout") {
            options.time = Seconds(line.numberOf<double>(option));
        } else if (!option.empty()) {
            CommandLine::refuse(option);
        } else if (!options.name.empty()) {
            throw UsageError("one program at a time");
        } else {
            options.name = line.take();
        }
    }
    if (options.name.empty()) {
        throw UsageError("which program?");
    }
    return options;
}

// Empty for 0: no snapshot was read yet.
std::optional<double> secondsSince(std::uint64_t nanosecondsSince1970) {
    if (nanosecondsSince1970 == 0) {
        return std::nullopt;
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const double seconds = Seconds(now).count() - static_cast<double>(nanosecondsSince1970) / 1e9;
    return std::max(seconds, 0.0);
}

class Viewer {
public:
    explicit Viewer(const std::string& name) : watched_(name) {}

    const Look& look() {
        look_.isRunning = !watched_.hasEnded();
        if (!look_.isRunning && watched_.findNext()) {
            look_.isRunning = true;
            look_.snapshot = {};
            look_.lines.clear();
        }
        look_.program = watched_.program();
        if (const auto snapshot = watched_.view().snapshot()) {
            look_.snapshot = *snapshot;
        }
        look_.age = secondsSince(look_.snapshot.figures.time);
        while (auto line = watched_.view().nextLine()) {
            look_.lines.push_back(std::move(*line));
            if (look_.lines.size() > kMostLines) {
                look_.lines.pop_front();
            }
        }
        return look_;
    }

    bool isAtEnd() const { return !look_.isRunning && !watched_.mayHaveNext(); }

private:
    Watched watched_;
    Look look_;
};

class Screen {
public:
    explicit Screen(const Options& options)
        : options_(options), isRedrawn_(!options.once && takesCommands(stdout)) {}

    void show(const Look& look) {
        if (options_.json) {
            print(jsonOf(look) + "\n");
        } else if (isRedrawn_) {
            redraw(look);
        } else {
            print(isFirst_ ? "" : "\n");
            print(pictureOf(look, options_.colours, std::nullopt));
        }
        isFirst_ = false;
    }

private:
    // Draws over the last picture. After a change of size its rows can be anywhere, so all is
    // cleared.
    void redraw(const Look& look) {
        const auto size = platform::terminalSize(stdout);
        const auto before = std::exchange(size_, size.value_or(platform::TerminalSize{}));
        const bool isCleared = isFirst_ || size_ != before;
        const std::string picture = pictureOf(look, options_.colours, size);
        std::string drawn = isCleared ? "\033[2J\033[H" : "\033[H";
        // A row is cleared before it is drawn, because after a full row the cursor is on its last
        // column.
        for (std::string_view rest = picture; !rest.empty();) {
            const std::string_view row = rest.substr(0, rest.find('\n') + 1);
            drawn.append("\033[K").append(row);
            rest.remove_prefix(row.size());
        }
        print(drawn + "\033[J");
    }

    const Options& options_;
    bool isRedrawn_;
    bool isFirst_ = true;
    platform::TerminalSize size_{};
};

void run(const Options& options) {
    Viewer viewer(options.name);
    Screen screen(options);
    const auto start = Clock::now();
    for (;;) {
        screen.show(viewer.look());
        if (options.once || viewer.isAtEnd() || std::fflush(stdout) != 0 ||
            Clock::now() - start + kPause > options.time) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

} // namespace

int top(const Arguments& arguments) {
    run(parse(arguments));
    return 0;
}
