#include "options.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace {

/* Takes the value behind an option; an option at the end of the line has none. */
std::string takeValue(int count, const char* const* arguments, int& index, std::string& problem) {
    if (index + 1 >= count) {
        problem = std::string(arguments[index]) + " wants a name";
        return {};
    }
    return arguments[++index];
}

int takeNumber(int count, const char* const* arguments, int& index, std::string& problem) {
    const std::string option = arguments[index];
    const std::string text = takeValue(count, arguments, index, problem);
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (problem.empty() && (error != std::errc() || stopped != end || number < 0)) {
        problem = option + " wants a number from 0 on, not " + text;
    }
    return number;
}

/* Returns false for what is not an option. */
bool takeOption(Options& options, int count, const char* const* arguments, int& index) {
    const std::string_view argument = arguments[index];
    if (argument == "--help" || argument == "-h") {
        options.help = true;
    } else if (argument == "--data") {
        options.data = takeValue(count, arguments, index, options.problem);
    } else if (argument == "--fresh") {
        options.fresh = true;
    } else if (argument == "--world") {
        options.world = takeValue(count, arguments, index, options.problem);
    } else if (argument == "--config") {
        options.config = takeValue(count, arguments, index, options.problem);
    } else if (argument == "--frames") {
        options.frames = takeNumber(count, arguments, index, options.problem);
    } else if (argument == "--logs") {
        options.logs = takeValue(count, arguments, index, options.problem);
    } else if (argument.starts_with("-")) {
        options.problem = "unknown option " + std::string(argument);
    } else {
        return false;
    }
    return true;
}

} // namespace

Options parseOptions(int count, const char* const* arguments) {
    Options options;
    int index = 1;
    while (index < count && options.problem.empty() &&
           takeOption(options, count, arguments, index)) {
        ++index;
    }
    if (options.problem.empty() && index < count) {
        options.script = arguments[index];
        options.arguments.assign(arguments + index + 1, arguments + count);
    }
    return options;
}

void printUsage(std::FILE* stream) {
    std::fputs(
        "Usage: qz_host [options] [script [arguments]]\n"
        "\n"
        "Runs a Lua script with the library's log, files and directories. Without a script: the\n"
        "one that settings.lua in the data directory names, which draws a flight of birds.\n"
        "\n"
        "  --data DIR     the data directory (examples/data, or the one beside the program)\n"
        "  --config FILE  what the host starts with (host.cfg in the data directory)\n"
        "  --logs DIR     where the log files go (\"logs\" in the write directory)\n"
        "  --world FILE   the world that the script gets (without a script, that of the settings)\n"
        "  --frames N     how many frames the ferries sail after the script; 0 for none\n"
        "  --fresh        begin anew instead of going on from the state that the last run saved\n"
        "  -h, --help     this text\n"
        "\n"
        "Exit code: 0, or what the script gives os.exit; 1 if the script fails or a file is\n"
        "wrong; 2 if the command line is wrong; 130 after Ctrl-C.\n",
        stream);
}
