#include "log.h"

#include "failure.h"
#include "log_commands.h"
#include "terminal.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <optional>
#include <string_view>

namespace {

constexpr char kUsage[] =
    "Usage: qz log list\n"
    "       qz log follow [options] NAME\n"
    "\n"
    "Shows the logs that running programs publish.\n"
    "\n"
    "  list               the names of the logs that there are\n"
    "  follow NAME        the newest lines of a log, then each one as it comes\n"
    "\n"
    "  --level LEVEL      only alert, error, warning, info, debug or trace, and what is worse\n"
    "  --module MODULE    only the lines of this module\n"
    "  --grep TEXT        only the lines with this text in them\n"
    "  --no-color         no colours\n"
    "  --count N          end after N lines\n"
    "  --timeout SECONDS  end after this time; otherwise Ctrl-C ends it\n";

class CommandLine {
public:
    explicit CommandLine(const Arguments& arguments)
        : next_(arguments.begin()), end_(arguments.end()) {}

    bool isAtEnd() const { return next_ == end_; }
    const std::string& take() { return *next_++; }

    const std::string& valueOf(const std::string& option) {
        if (isAtEnd()) {
            throw UsageError(option + " wants a value");
        }
        return take();
    }

    // All of the value, and more than 0.
    template<class Number>
    Number numberOf(const std::string& option) {
        const std::string& text = valueOf(option);
        Number value{};
        const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (problem != std::errc() || end != text.data() + text.size() || !(value > 0)) {
            throw UsageError(option + " wants a number above 0, not " + text);
        }
        return value;
    }

private:
    Arguments::const_iterator next_;
    Arguments::const_iterator end_;
};

int rankOf(const std::string& level) {
    std::string name = level;
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::toupper(c); });
    const int rank = rankOfLevel(name);
    if (rank < 0) {
        throw UsageError("there is no level " + level);
    }
    return rank;
}

bool takeOption(FollowOptions& options, const std::string& option, CommandLine& line) {
    if (option == "--level") {
        options.rank = rankOf(line.valueOf(option));
    } else if (option == "--module") {
        options.module = line.valueOf(option);
    } else if (option == "--grep") {
        options.text = line.valueOf(option);
    } else if (option == "--no-color") {
        options.colours = false;
    } else if (option == "--count") {
        options.count = line.numberOf<unsigned long>(option);
    } else if (option == "--timeout") {
        options.time = std::chrono::duration<double>(line.numberOf<double>(option));
    } else if (option.starts_with('-')) {
        throw UsageError("there is no option " + option);
    } else {
        return false;
    }
    return true;
}

void follow(const Arguments& arguments) {
    CommandLine line(arguments);
    FollowOptions options;
    std::optional<std::string> name;
    while (!line.isAtEnd()) {
        const std::string& argument = line.take();
        if (takeOption(options, argument, line)) {
            continue;
        }
        if (name) {
            throw UsageError("one log at a time");
        }
        name = argument;
    }
    if (!name) {
        throw UsageError("follow which log?");
    }
    logFollow(*name, options);
}

} // namespace

int logCommand(const Arguments& arguments) {
    if (arguments.empty()) {
        throw UsageError("no command of log");
    }
    const Arguments rest(arguments.begin() + 1, arguments.end());
    if (arguments[0] == "--help" || arguments[0] == "-h" ||
        std::ranges::find(rest, "--help") != rest.end()) {
        print(kUsage);
    } else if (arguments[0] == "list" && rest.empty()) {
        logList();
    } else if (arguments[0] == "follow") {
        follow(rest);
    } else {
        throw UsageError("there is no command log " + arguments[0] +
                         (rest.empty() ? "" : " " + rest[0]));
    }
    return 0;
}
