#include "log_commands.h"
#include "printable.h"
#include "published.h"
#include "terminal.h"

#include "Core/Log.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause(20);

bool isWanted(const LogLine& line, const FollowOptions& options) {
    const int rank = rankOfLevel(line.level);
    return (options.rank < 0 || (rank >= 0 && rank <= options.rank)) &&
           (options.module.empty() || line.module == options.module) &&
           line.text.find(options.text) != std::string::npos;
}

void show(const LogLine& line, bool colours) {
    const int rank = rankOfLevel(line.level);
    const std::string level = qz_log_level_name(line.level);
    const std::string inColour =
        rank >= 0 && colours ? coloured(stdout, qz_log_levels()[rank].colour, level) : level;
    print(timeOfLine(line) + " " + inColour + std::string(8 - level.size(), ' ') +
          printable(line.module) + ": " + printable(line.text) + "\n");
}

class Follower {
public:
    Follower(const std::string& name, const FollowOptions& options)
        : watched_(name), options_(options) {}

    // Returns at the limit of lines or of time, when no more lines will come, or when standard
    // output is closed.
    void run() {
        const auto start = Clock::now();
        while (shown_ < options_.count && Clock::now() - start < options_.time) {
            if (showNext()) {
                continue;
            }
            if (std::fflush(stdout) != 0 || !waitForMore()) {
                return;
            }
        }
    }

private:
    bool showNext() {
        const std::optional<LogLine> line = watched_.view().nextLine();
        if (!line) {
            return false;
        }
        if (line->isBehindGap) {
            print("... lines were missed\n");
        }
        if (line->lost != 0) {
            showIfWanted({line->time, QZ_LOG_WARNING, "LOG",
                          std::to_string(line->lost) + " messages lost", 0, false});
        }
        showIfWanted(*line);
        return true;
    }

    void showIfWanted(const LogLine& line) {
        if (shown_ < options_.count && isWanted(line, options_)) {
            show(line, options_.colours);
            ++shown_;
        }
    }

    // False if no more lines will come.
    bool waitForMore() {
        if (watched_.hasEnded()) {
            // The last lines may have come since we looked.
            while (showNext()) {
            }
            if (!isEndTold_) {
                tell("has ended");
            }
            isEndTold_ = true;
            if (!watched_.mayHaveNext()) {
                return false;
            }
            if (watched_.findNext()) {
                tell("has started");
                isEndTold_ = false;
                return true;
            }
        }
        std::this_thread::sleep_for(kPause);
        return true;
    }

    void tell(const std::string& what) {
        const Program& program = watched_.program();
        print("... " + printable(program.name) + ", process " + std::to_string(program.process) +
              ", " + what + "\n");
    }

    Watched watched_;
    const FollowOptions& options_;
    unsigned long shown_ = 0;
    bool isEndTold_ = false;
};

} // namespace

int rankOfLevel(unsigned int level) {
    const qz_log_level* const levels = qz_log_levels();
    int rank = 0;
    while (levels[rank].name != nullptr && levels[rank].flag != level) {
        ++rank;
    }
    return levels[rank].name != nullptr ? rank : -1;
}

std::string timeOfLine(const LogLine& line) {
    char time[32];
    std::snprintf(time, sizeof time, "%09.3f", line.time);
    return time;
}

void logList() {
    const std::vector<Program> programs = runningPrograms();
    std::size_t width = 0;
    for (const Program& program : programs) {
        width = std::max(width, columnsOf(printable(program.name)));
    }
    for (const Program& program : programs) {
        print(padded(printable(program.name), width + 2) + std::to_string(program.process) + "\n");
    }
}

void logFollow(const std::string& name, const FollowOptions& options) {
    Follower(name, options).run();
}
