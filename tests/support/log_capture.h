// Reads what the library logs, as a host's console does.
#pragma once

#include "support/non_copyable.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace qz::test {

struct LogLine {
    std::string module;
    std::uint32_t level;
    std::string message;

    friend bool operator==(const LogLine&, const LogLine&) = default;
};

// For tests that change the process for good. Ends the program, with a message, if a second such
// test begins in it.
void needOwnProcess();

// Starts the log without a file and hooks it. One per process, because the log cannot be started
// twice.
class LogCapture : NonCopyable {
public:
    LogCapture();
    ~LogCapture();

    // All messages logged since the last call. A marker message follows them through the writer
    // thread and shows when they have arrived.
    std::vector<LogLine> take();

    // Only the texts of take().
    std::vector<std::string> messages();
};

// An empty directory of the running test's own below the working directory.
std::filesystem::path freshDirectory();

// A whole file's bytes. Fails the running test if the file cannot be read.
std::string readFile(const std::filesystem::path& path);

void writeFile(const std::filesystem::path& path, const std::string& bytes);

// How many entries a directory has.
std::ptrdiff_t countIn(const std::filesystem::path& directory);

} // namespace qz::test
