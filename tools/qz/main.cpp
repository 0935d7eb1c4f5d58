// The command-line tool: runs the command, and turns its exceptions into an exit code.
#include "command_line.h"
#include "conf.h"
#include "dump.h"
#include "failure.h"
#include "log.h"
#include "retrace.h"
#include "terminal.h"
#include "top.h"

#include "Core/Environment.h"
#include "Core/Log.h"
#include "Core/Version.h"

#include "platform/terminal.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>

// A tool's output must not contain the library's lines about its start.
QZ_LOG_ECHO_LEVELS(QZ_LOG_ALERT);

namespace {

enum { kExitFailure = 1, kExitUsage = 2 };

constexpr char kUsage[] = "Usage: qz <command> ...\n"
                          "\n"
                          "Works on files and running programs of the engine. Commands:\n"
                          "\n"
                          "  conf    check, read and change configuration files (qz conf --help)\n"
                          "  dump    show a file of saved objects (qz dump --help)\n"
                          "  log     show the logs of running programs (qz log --help)\n"
                          "  top     show what a running program does (qz top --help)\n"
                          "  retrace look up the symbols of crash reports (qz retrace --help)\n"
                          "\n"
                          "qz --version tells the version of the library.\n"
                          "\n"
                          "Exit code: 0; 1 if the job failed; 2 if the command line is wrong.\n";

struct Command {
    std::string_view name;
    int (*run)(const Arguments& arguments);
    const char* usage; // null: the command prints it by itself
};

constexpr Command kCommands[] = {
    {"conf", conf, nullptr}, {"dump", dump, kDumpUsage},          {"log", logCommand, kLogUsage},
    {"top", top, kTopUsage}, {"retrace", retrace, kRetraceUsage},
};

const Command* commandOf(const Arguments& arguments) {
    const Command* const end = std::end(kCommands);
    const Command* const found =
        arguments.empty() ? end : std::ranges::find(kCommands, arguments[0], &Command::name);
    return found != end ? found : nullptr;
}

int run(const Command& command, const Arguments& arguments) {
    const auto end = std::ranges::find(arguments, "--");
    if (command.usage != nullptr && std::any_of(arguments.begin(), end, isHelp)) {
        print(command.usage);
        return 0;
    }
    return command.run(arguments);
}

int run(const Arguments& arguments) {
    if (const Command* const command = commandOf(arguments); command != nullptr) {
        return run(*command, {arguments.begin() + 1, arguments.end()});
    }
    if (arguments.empty()) {
        throw UsageError("no command");
    }
    if (arguments[0] == "help" && arguments.size() > 1) {
        return run({arguments[1], "--help"});
    }
    if (isHelp(arguments[0]) || arguments[0] == "help") {
        print(kUsage);
        return 0;
    }
    if (arguments[0] == "--version") {
        print("qz " + std::string(QZ_version_string()) + "\n");
        return 0;
    }
    throw UsageError("there is no command " + arguments[0]);
}

// The library's own list, because it is UTF-8 on Windows too. An argument that is not valid text is
// "#error" there; so is the whole command line then, which tells it from an argument "#error".
Arguments readArguments() {
    const std::string_view error = "#error";
    Arguments arguments;
    for (int i = 1; i < SYS_argc(); ++i) {
        const char* const argument = SYS_argv()[i];
        if (argument == error && SYS_cmdline() == error) {
            throw UsageError("argument " + std::to_string(i) + " is not valid Unicode");
        }
        arguments.emplace_back(argument);
    }
    return arguments;
}

int runAndExplain() {
    Arguments arguments;
    try {
        arguments = readArguments();
        const int exitCode = run(arguments);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            throw Failure("standard output cannot be written");
        }
        return exitCode;
    } catch (const UsageError& mistake) {
        complain(mistake.what());
        const Command* const command = commandOf(arguments);
        printError("See qz " + (command != nullptr ? std::string(command->name) + " " : "") +
                   "--help.\n");
        return kExitUsage;
    } catch (const std::exception& failure) {
        complain(failure.what());
        return kExitFailure;
    }
}

} // namespace

int main() {
    platform::useBinaryStreams();
    return runAndExplain();
}
