// Sees what the library logs, as a host's console would.
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

// For tests that change the process for good. Ends the program, with a message, when a second one
// begins in it.
void needOwnProcess();

// Starts the log without a file and hooks it. One for each process: a log is not started twice.
class LogCapture : NonCopyable {
public:
    LogCapture();
    ~LogCapture();

    // The messages logged since the last call, all of them: a marker message that follows them
    // through the writer thread tells when they have arrived.
    std::vector<LogLine> take();

    // The texts alone.
    std::vector<std::string> messages();
};

// An empty directory of the running test's own below the working directory.
std::filesystem::path freshDirectory();

// A whole file's bytes; a failure of the running test if it cannot be read.
std::string readFile(const std::filesystem::path& path);

void writeFile(const std::filesystem::path& path, const std::string& bytes);

// How many entries a directory has.
std::ptrdiff_t countIn(const std::filesystem::path& directory);

} // namespace qz::test
