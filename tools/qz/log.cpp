#include "log.h"

#include "command_line.h"
#include "failure.h"
#include "log_commands.h"

#include "Core/Log.h"

#include <optional>
#include <string>

const char kLogUsage[] =
    "Usage: qz log list\n"
    "       qz log follow [options] NAME\n"
    "\n"
    "Shows the logs of running programs that publish themselves.\n"
    "\n"
    "  list               print the programs with their names and process numbers\n"
    "  follow NAME        print the newest lines of a log, then each new line; when the program\n"
    "                     ends, continue with the next program of that name\n"
    "  follow NAME.NUMBER the same for one process, until it ends\n"
    "\n"
    "  --level LEVEL      only this level (alert, error, warning, info, debug, trace) or worse\n"
    "  --module MODULE    only the lines of this module\n"
    "  --grep TEXT        only the lines that contain this text\n"
    "  --no-color         no colours\n"
    "  --count N          end after N lines\n"
    "  --timeout SECONDS  end after this time; otherwise Ctrl-C ends it\n";

namespace {

int rankOf(const std::string& name) {
    unsigned int level = 0;
    const int rank = qz_log_parse_levels(name.c_str(), &level) != 0 ? rankOfLevel(level) : -1;
    if (rank < 0) {
        throw UsageError("there is no level " + name);
    }
    return rank;
}

void takeOption(FollowOptions& options, const std::string& option, CommandLine& line) {
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
    } else {
        CommandLine::refuse(option);
    }
}

void follow(const Arguments& arguments) {
    CommandLine line(arguments);
    FollowOptions options;
    std::optional<std::string> name;
    while (!line.isAtEnd()) {
        if (const std::string option = line.takeOption(); !option.empty()) {
            takeOption(options, option, line);
        } else if (name) {
            throw UsageError("one program at a time");
        } else {
            name = line.take();
        }
    }
    if (!name) {
        throw UsageError("follow which program?");
    }
    logFollow(*name, options);
}

} // namespace

int logCommand(const Arguments& arguments) {
    if (arguments.empty()) {
        throw UsageError("no command of log");
    }
    const Arguments rest(arguments.begin() + 1, arguments.end());
    if (arguments[0] == "list" && rest.empty()) {
        logList();
    } else if (arguments[0] == "follow") {
        follow(rest);
    } else {
        throw UsageError("there is no command log " + arguments[0] +
                         (rest.empty() ? "" : " " + rest[0]));
    }
    return 0;
}
