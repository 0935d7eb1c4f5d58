#include "dump.h"

#include "command_line.h"
#include "dump_forms.h"

#include "platform/terminal.h"

#include <optional>
#include <string>

const char kDumpUsage[] =
    "Usage: qz dump [options] FILE\n"
    "\n"
    "Shows a file saved by Common::CommonSerializer without the program's classes: the number,\n"
    "class and version of each object, its values, and its references by the numbers of the\n"
    "objects. Values have names and types if the file was saved with them; otherwise they are\n"
    "shown as bytes. An object is printed where it is first referred to. The file - is standard\n"
    "input.\n"
    "\n"
    "  --depth N   nest at most N objects (16); deeper ones follow below the others\n"
    "  --bytes N   show at most N bytes of each object, or of each text and row in it (64)\n"
    "  --json      print everything as one JSON object, with a line for each object\n"
    "\n"
    "A file with a mistake is refused as a whole. The message names the first mistake and, if the\n"
    "sum is right, the path to it, such as references[3].references[0]. A file may have 1 GiB and\n"
    "4,194,304 objects.\n";

namespace {

// Each object is indented by two more columns: lines of deeper ones could not be read.
constexpr std::size_t kDeepest = 1000;

struct Options {
    DumpLimits limits;
    bool json = false;
};

void takeOption(Options& options, const std::string& option, CommandLine& line) {
    if (option == "--depth") {
        options.limits.depth = line.numberOf<std::size_t>(option);
        if (options.limits.depth > kDeepest) {
            throw UsageError("--depth goes up to " + std::to_string(kDeepest));
        }
    } else if (option == "--bytes") {
        options.limits.bytes = line.numberOf<std::size_t>(option);
    } else if (option == "--json") {
        options.json = true;
    } else {
        CommandLine::refuse(option);
    }
}

} // namespace

int dump(const Arguments& arguments) {
    CommandLine line(arguments);
    Options options;
    std::optional<std::string> name;
    while (!line.isAtEnd()) {
        if (const std::string option = line.takeOption(); !option.empty()) {
            takeOption(options, option, line);
            continue;
        }
        for (const std::string& file : platform::matchingFiles(line.take())) {
            if (name) {
                throw UsageError("dump takes one file at a time");
            }
            name = file;
        }
    }
    if (!name) {
        throw UsageError("dump which file?");
    }
    SavedFile file;
    file.load(*name);
    options.json ? printJson(file) : printTree(file, options.limits);
    return 0;
}
