#include "options.h"

#include "Util/ConsoleArgs.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

struct Known {
    std::string_view name;
    bool hasValue;
};

constexpr Known kKnown[] = {
    {"--config", true}, {"--connect", true},    {"--watch", true}, {"--data", true},
    {"--frames", true}, {"--fresh", false},     {"--fast", false}, {"--help", false},
    {"--logs", true},   {"--save-every", true}, {"--world", true}, {"-h", false},
};

/* How many of the arguments are the host's own; those behind the script are the script's. Throws
 * the exception of ConsoleArgs, whose text says what is wrong. */
int countOwn(int count, const char* const* arguments) {
    int index = 1;
    while (index < count && arguments[index][0] == '-') {
        const std::string option = arguments[index];
        const auto* const known = std::ranges::find(kKnown, option, &Known::name);
        if (known == std::end(kKnown)) {
            throw qz::InvalidConsoleArgsException("unknown option " + option);
        }
        index += known->hasValue ? 2 : 1;
        if (index > count || (known->hasValue && arguments[index - 1][0] == '-')) {
            throw qz::InvalidConsoleArgsException(option + " wants a value");
        }
    }
    return index;
}

void read(Options& options, int count, const char* const* arguments) {
    const int own = countOwn(count, arguments);
    const qz::ConsoleArgs args(own, arguments);
    options.help = args.defined("--help") || args.defined("-h");
    options.fresh = args.defined("--fresh");
    options.fast = args.defined("--fast");
    args.getOptionalString("--data", options.data);
    args.getOptionalString("--world", options.world);
    args.getOptionalString("--config", options.config);
    args.getOptionalString("--logs", options.logs);
    args.getOptionalString("--connect", options.connect);
    args.getOptionalString("--watch", options.watch);
    if (args.defined("--frames")) {
        args.getOptionalInt("--frames", options.frames.emplace());
    }
    if (args.defined("--save-every")) {
        args.getOptionalInt("--save-every", options.saveEvery.emplace());
    }
    if (own < count) {
        options.script = arguments[own];
        options.arguments.assign(arguments + own + 1, arguments + count);
    }
}

} // namespace

Options parseOptions(int count, const char* const* arguments) {
    Options options;
    try {
        read(options, count, arguments);
    } catch (const qz::InvalidConsoleArgsException& wrong) {
        options.problem = wrong.what();
    }
    return options;
}

void printUsage(std::FILE* stream) {
    std::fputs(
        "Usage: qz_host [options] [script [arguments]]\n"
        "\n"
        "Runs a Lua script with the library's log, files and directories. Without a script it "
        "runs\n"
        "the one that settings.lua in the data directory names, which draws a flight of birds.\n"
        "\n"
        "  --data DIR     the data directory (examples/data, or the one beside the program)\n"
        "  --config FILE  the start-up file (host.cfg in the data directory)\n"
        "  --logs DIR     the directory of the log files (\"logs\" in the write directory)\n"
        "  --world FILE   the world that the script gets (without a script, that of the settings)\n"
        "  --frames N     how many frames the ferries sail after the script; 0 for none\n"
        "  --fast         run these frames without pauses\n"
        "  --save-every N save the ferries also after every N frames, not only at the end\n"
        "  --connect NAME let other hosts watch the ferries, with --watch and the same name\n"
        "  --watch NAME   run nothing, and print what the host of that name simulates, until "
        "Ctrl-C\n"
        "  --fresh        begin anew instead of continuing from the saved state of the last run\n"
        "  -h, --help     print this text\n"
        "\n"
        "Exit code: 0, or the code that the script passes to os.exit; 1 if the script fails or a\n"
        "file is wrong; 2 if the command line is wrong; 130 after Ctrl-C.\n",
        stream);
}
