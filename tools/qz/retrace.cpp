#include "retrace.h"

#include "failure.h"
#include "terminal.h"

#include "Core/CrashReport.h"

#include <cstdio>
#include <filesystem>

namespace {

constexpr char kUsage[] =
    "Usage: qz retrace DIR ...\n"
    "\n"
    "Writes an annotated copy, *.crash.info, beside each crash report *.crash in the directories\n"
    "that has none yet, with all symbols and source lines that can be found.\n";

std::string withSeparator(const std::string& directory) {
    const bool hasOne = directory.ends_with('/') || directory.ends_with('\\');
    return hasOne ? directory : directory + "/";
}

int retraceIn(const std::string& directory) {
    const std::u8string path(directory.begin(), directory.end());
    if (std::error_code error; !std::filesystem::is_directory(path, error)) {
        throw Failure(directory + ": no such directory");
    }
    const int count = bt_retrace(withSeparator(directory).c_str());
    if (count < 0) {
        throw Failure("symbols cannot be read on this system");
    }
    return count;
}

} // namespace

int retrace(const Arguments& arguments) {
    if (arguments.empty()) {
        throw UsageError("retrace needs a directory");
    }
    if (arguments[0] == "--help" || arguments[0] == "-h") {
        print(kUsage);
        return 0;
    }
    int count = 0;
    for (const std::string& argument : arguments) {
        if (argument.starts_with("-")) {
            throw UsageError("retrace has no option " + argument);
        }
        count += retraceIn(argument);
    }
    print(std::to_string(count) + (count == 1 ? " report" : " reports") + " retraced\n");
    return 0;
}
