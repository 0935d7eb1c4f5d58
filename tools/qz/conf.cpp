#include "conf.h"

#include "command_line.h"
#include "conf_commands.h"
#include "failure.h"
#include "terminal.h"

#include "platform/terminal.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace {

struct Request {
    ConfOptions options;
    bool help = false;
    Arguments operands;
};

struct Command {
    std::string_view name;
    size_t fewest, most; // operands
    const char* help;
    int (*run)(const Request& request);
};

constexpr size_t kAnyNumber = static_cast<size_t>(-1);

int check(const Request& request) {
    return confCheck(request.operands, request.options);
}

int get(const Request& request) {
    confGet(request.operands[0], request.operands[1], request.options);
    return 0;
}

int set(const Request& request) {
    confSet(request.operands[0], request.operands[1], request.operands[2], request.options);
    return 0;
}

int format(const Request& request) {
    confFormat(request.operands[0], request.options);
    return 0;
}

int fixLineEnds(const Request& request) {
    confFixLineEnds(request.operands);
    return 0;
}

int json(const Request& request) {
    confJson(request.operands[0], request.options);
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

void takeOption(Request& request, const std::string& option) {
    if (option == "--lf") {
        request.options.bareLineFeeds = true;
    } else if (option == "--write") {
        request.options.write = true;
    } else if (option == "--string") {
        request.options.asString = true;
    } else if (isHelp(option)) {
        request.help = true;
    } else {
        CommandLine::refuse(option);
    }
}

// Options precede the operands, because a value may begin with "-".
Request parse(const Arguments& arguments) {
    CommandLine line(arguments);
    Request request;
    while (!line.isAtEnd()) {
        const std::string option = line.takeOption();
        if (option.empty()) {
            break;
        }
        takeOption(request, option);
    }
    request.operands = line.rest();
    return request;
}

// For commands whose operands are all files: a value may look like a pattern.
Arguments matchingFiles(const Arguments& patterns) {
    Arguments files;
    for (const std::string& pattern : patterns) {
        std::ranges::move(platform::matchingFiles(pattern), std::back_inserter(files));
    }
    return files;
}

void checkOperands(const Command& command, const Request& request) {
    const size_t count = request.operands.size();
    if (count < command.fewest || count > command.most) {
        const std::string help = command.help;
        throw UsageError("wrong number of operands. " + help.substr(0, help.find('\n')));
    }
    if (request.options.write && command.name != "fmt") {
        throw UsageError("--write is for fmt only");
    }
    if (request.options.bareLineFeeds && command.name == "fix-eol") {
        throw UsageError("--lf is not for fix-eol");
    }
    if (request.options.asString && command.name != "set") {
        throw UsageError("--string is for set only");
    }
}

} // namespace

int conf(const Arguments& arguments) {
    if (arguments.empty()) {
        throw UsageError("no command of conf");
    }
    if (isHelp(arguments[0])) {
        print(kUsage);
        return 0;
    }
    const auto command = std::ranges::find(kCommands, arguments[0], &Command::name);
    if (command == std::end(kCommands)) {
        throw UsageError("there is no command conf " + arguments[0]);
    }
    Request request = parse({arguments.begin() + 1, arguments.end()});
    if (request.help) {
        print(command->help);
        return 0;
    }
    if (command->most == kAnyNumber) {
        request.operands = matchingFiles(request.operands);
    }
    checkOperands(*command, request);
    return command->run(request);
}
