#include "retrace.h"

#include "command_line.h"
#include "failure.h"
#include "terminal.h"

#include "Core/CrashReport.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

const char kRetraceUsage[] =
    "Usage: qz retrace DIR ...\n"
    "\n"
    "Writes an annotated copy, *.crash.info, beside each crash report *.crash in the directories\n"
    "that has none yet, with all symbols and source lines that can be found. Delete a\n"
    "copy to look again.\n";

namespace {

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

// A report without a copy was too large or out of reach, is being written, or its folder is
// write-protected.
std::ptrdiff_t reportsLeftIn(const std::string& directory) {
    const std::u8string path(directory.begin(), directory.end());
    return std::ranges::count_if(std::filesystem::directory_iterator(path), [](const auto& entry) {
        std::error_code error; // a link may lead to itself
        auto copy = entry.path();
        return copy.extension() == ".crash" && entry.is_regular_file(error) &&
               !std::filesystem::exists(copy += ".info", error);
    });
}

} // namespace

int retrace(const Arguments& arguments) {
    CommandLine line(arguments);
    if (line.isAtEnd()) {
        throw UsageError("retrace needs a directory");
    }
    Arguments directories;
    while (!line.isAtEnd()) {
        if (const std::string option = line.takeOption(); !option.empty()) {
            CommandLine::refuse(option);
        }
        directories.push_back(line.take());
    }
    int count = 0;
    std::ptrdiff_t left = 0;
    for (const std::string& directory : directories) {
        count += retraceIn(directory);
        left += reportsLeftIn(directory);
    }
    const std::string retraced =
        std::to_string(count) + (count == 1 ? " report" : " reports") + " retraced";
    if (left > 0) {
        throw Failure(retraced + ", " + std::to_string(left) + " could not be");
    }
    print(retraced + "\n");
    return 0;
}
