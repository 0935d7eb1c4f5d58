#include "dump.h"

#include "command_line.h"
#include "dump_forms.h"
#include "terminal.h"

#include <optional>
#include <string>

namespace {

constexpr char kUsage[] =
    "Usage: qz dump [options] FILE\n"
    "\n"
    "Shows a file that Common::CommonSerializer has saved, without the classes of its objects: "
    "the\n"
    "number, class and version of each object, its values as bytes, for the file has no names and\n"
    "types of them, and its references by the numbers of the objects. An object stands where it "
    "is\n"
    "referred to first. The file - is standard input.\n"
    "\n"
    "  --depth N   so many objects within each other (16); those deeper stand below the others\n"
    "  --bytes N   so many bytes of each object (64)\n"
    "  --json      everything, as one JSON object with a line for each object\n"
    "\n"
    "Files are refused as a whole: with their first mistake and, if the sum is right, the way to "
    "it,\n"
    "such as references[3].references[0]. They may have 1 GiB and 4,194,304 objects.\n";

// Columns of a line that terminals and people can follow.
constexpr std::size_t kDeepest = 1000;

struct Options {
    DumpLimits limits;
    bool json = false;
};

bool takeOption(Options& options, const std::string& option, CommandLine& line) {
    if (option == "--depth") {
        options.limits.depth = line.numberOf<std::size_t>(option);
        if (options.limits.depth > kDeepest) {
            throw UsageError("--depth goes up to " + std::to_string(kDeepest));
        }
    } else if (option == "--bytes") {
        options.limits.bytes = line.numberOf<std::size_t>(option);
    } else if (option == "--json") {
        options.json = true;
    } else if (option.size() > 1 && option.starts_with('-')) {
        throw UsageError("dump has no option " + option);
    } else {
        return false;
    }
    return true;
}

} // namespace

int dump(const Arguments& arguments) {
    CommandLine line(arguments);
    Options options;
    std::optional<std::string> name;
    while (!line.isAtEnd()) {
        const std::string& argument = line.take();
        if (argument == "--help" || argument == "-h") {
            print(kUsage);
            return 0;
        }
        if (takeOption(options, argument, line)) {
            continue;
        }
        if (name) {
            throw UsageError("dump takes one file at a time");
        }
        name = argument;
    }
    if (!name) {
        throw UsageError("dump which file?");
    }
    SavedFile file;
    file.load(*name);
    options.json ? printJson(file) : printTree(file, options.limits);
    return 0;
}
