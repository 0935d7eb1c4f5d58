#include "conf_commands.h"
#include "conf_file.h"
#include "json.h"
#include "printable.h"
#include "terminal.h"

#include <algorithm>

namespace {

// Whole lines: unchanged to files and pipes, and so that a terminal only draws them.
void printLines(std::string lines) {
    if (takesCommands(stdout)) {
        std::erase(lines, '\r');
        lines = printable(lines, "\n") + '\n';
    }
    print(lines);
}

} // namespace

void printValue(const ConfigParser::iterator& entry) {
    std::string text;
    printLines((entry.getString(text) ? text : jsonValue(entry)) + "\n");
}

void confFormat(const std::string& name, const ConfOptions& options) {
    ConfFile file(name, options.bareLineFeeds);
    file.parse();
    if (options.write) {
        file.writeFormatted();
    } else {
        printLines(file.formatted());
    }
}

void confJson(const std::string& name, const ConfOptions& options) {
    ConfFile file(name, options.bareLineFeeds);
    file.parse();
    print(jsonObject(file.tree().begin()) + "\n");
}

void confFixLineEnds(const std::vector<std::string>& files) {
    for (const std::string& name : files) {
        FileToChange file(name);
        const std::string before = file.read();
        if (before.find('\0') != std::string::npos) {
            throw Failure(name + ": is no text: it has a zero byte");
        }
        const std::string after = CompletedLines(before).text();
        if (after != before || name == "-") {
            file.replace(after);
        }
    }
}
