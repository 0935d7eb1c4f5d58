#include "conf.h"

#include "conf_commands.h"
#include "failure.h"
#include "terminal.h"

#include "platform/terminal.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace {

struct CommandLine {
    ConfOptions options;
    bool help = false;
    Arguments operands;
};

struct Command {
    std::string_view name;
    size_t fewest, most; // operands
    const char* help;
    int (*run)(const CommandLine& line);
};

constexpr size_t kAnyNumber = static_cast<size_t>(-1);

int check(const CommandLine& line) {
    return confCheck(line.operands, line.options);
}

int get(const CommandLine& line) {
    confGet(line.operands[0], line.operands[1], line.options);
    return 0;
}

int set(const CommandLine& line) {
    confSet(line.operands[0], line.operands[1], line.operands[2], line.options);
    return 0;
}

int format(const CommandLine& line) {
    confFormat(line.operands[0], line.options);
    return 0;
}

int fixLineEnds(const CommandLine& line) {
    confFixLineEnds(line.operands);
    return 0;
}

int json(const CommandLine& line) {
    confJson(line.operands[0], line.options);
    return 0;
}

constexpr Command kCommands[] = {
    {"check", 1, kAnyNumber,
     "Usage: qz conf check [--lf] FILE ...\n"
     "\n"
     "For each file that is no valid configuration, prints what is wrong, the line and the offset\n"
     "in bytes, and shows the place. Exit code 1 if there is such a file. A // comment that\n"
     "continues in the next line, because its own ends in a bare line feed, is only a warning.\n",
     check},
    {"get", 2, 2,
     "Usage: qz conf get [--lf] FILE PATH\n"
     "\n"
     "Prints a value: a text as it is, a block or a list as JSON. A path consists of names of\n"
     "entries (the first of that name) and indices of list items from 0: graphics.colors.0.2\n",
     get},
    {"set", 3, 3,
     "Usage: qz conf set [--lf] [--string] FILE PATH VALUE\n"
     "\n"
     "Changes a value in place; comments, order and spelling of everything else stay. A value\n"
     "keeps its type: an integer can only be set to integers, which include true and false. A\n"
     "missing entry is added, with the blocks around it, as an integer, a real or a text,\n"
     "depending on the value's form. The index after a list's last item adds an item. Integers\n"
     "may be hexadecimal, as in 0x20.\n"
     "\n"
     "  --string   set a text, whatever the form of the value and the type of the entry\n",
     set},
    {"fmt", 1, 1,
     "Usage: qz conf fmt [--lf] [--write] FILE\n"
     "\n"
     "Prints the file in the library's own layout. Comments are lost, and so is the difference\n"
     "between an expression and its result. Reals are rounded to 10 digits.\n"
     "\n"
     "  --write    replace the file instead of printing\n",
     format},
    {"fix-eol", 1, kAnyNumber,
     "Usage: qz conf fix-eol FILE ...\n"
     "\n"
     "Makes every line end in CR LF, as the language requires. Line feeds in quoted text stay.\n",
     fixLineEnds},
    {"json", 1, 1,
     "Usage: qz conf json [--lf] FILE\n"
     "\n"
     "Prints the file as JSON. Entries of the same name become one array. Bytes that are not\n"
     "UTF-8 become U+FFFD, and a real that is not finite becomes null.\n",
     json},
};

constexpr char kUsage[] =
    "Usage: qz conf <command> [options] FILE ...\n"
    "\n"
    "  check FILE ...                   what is wrong, and where\n"
    "  get FILE PATH                    print a value\n"
    "  set [--string] FILE PATH VALUE   change a value, and nothing else\n"
    "  fmt [--write] FILE               print the file in the standard layout, or replace it\n"
    "  fix-eol FILE ...                 make every line end in CR LF\n"
    "  json FILE                        print the file as JSON\n"
    "\n"
    "  --lf                             lines may end in bare line feeds, and new ones do\n"
    "  --help                           usage of one command: qz conf <command> --help\n"
    "\n"
    "Options precede the operands; -- ends them. The file - is standard input; what would be\n"
    "written to it is printed.\n";

// Returns false if the argument is no option.
bool takeOption(CommandLine& line, const std::string& argument) {
    if (argument == "--lf") {
        line.options.bareLineFeeds = true;
    } else if (argument == "--write") {
        line.options.write = true;
    } else if (argument == "--string") {
        line.options.asString = true;
    } else if (argument == "--help" || argument == "-h") {
        line.help = true;
    } else if (argument.size() > 1 && argument[0] == '-') {
        throw UsageError("there is no option " + argument);
    } else {
        return false;
    }
    return true;
}

CommandLine readCommandLine(const Arguments& arguments) {
    CommandLine line;
    auto argument = arguments.begin() + 1;
    while (argument != arguments.end() && *argument != "--" && takeOption(line, *argument)) {
        ++argument;
    }
    if (argument != arguments.end() && *argument == "--") {
        ++argument;
    }
    line.operands.assign(argument, arguments.end());
    return line;
}

// For commands whose operands are all files: a value may look like a pattern.
Arguments matchingFiles(const Arguments& patterns) {
    Arguments files;
    for (const std::string& pattern : patterns) {
        std::ranges::move(platform::matchingFiles(pattern), std::back_inserter(files));
    }
    return files;
}

void checkOperands(const Command& command, const CommandLine& line) {
    const size_t count = line.operands.size();
    if (count < command.fewest || count > command.most) {
        const std::string help = command.help;
        throw UsageError("wrong number of operands. " + help.substr(0, help.find('\n')));
    }
    if (line.options.write && command.name != "fmt") {
        throw UsageError("--write is for fmt only");
    }
    if (line.options.bareLineFeeds && command.name == "fix-eol") {
        throw UsageError("--lf is not for fix-eol");
    }
    if (line.options.asString && command.name != "set") {
        throw UsageError("--string is for set only");
    }
}

} // namespace

int conf(const Arguments& arguments) {
    if (arguments.empty()) {
        throw UsageError("no command of conf");
    }
    if (arguments[0] == "--help" || arguments[0] == "-h") {
        print(kUsage);
        return 0;
    }
    const auto command = std::ranges::find(kCommands, arguments[0], &Command::name);
    if (command == std::end(kCommands)) {
        throw UsageError("there is no command conf " + arguments[0]);
    }
    CommandLine line = readCommandLine(arguments);
    if (line.help) {
        print(command->help);
        return 0;
    }
    if (command->most == kAnyNumber) {
        line.operands = matchingFiles(line.operands);
    }
    checkOperands(*command, line);
    return command->run(line);
}
