// What most tests use: GoogleTest, the log as hosts see it, files and threads, and the standard
// library's everyday parts. Tests use these names without a prefix.
#pragma once

#include "support/non_copyable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace qz::test {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

struct LogLine {
    std::string module;
    std::uint32_t level;
    std::string message;

    friend bool operator==(const LogLine&, const LogLine&) = default;
};

// For tests that change the process for good. Ends the program, with a message, if a second such
// test begins in it.
void needOwnProcess();

// Reads what the library logs, as a host's console does. Starts the log without a file and hooks
// it. One per process, because the log cannot be started twice.
class LogCapture : NonCopyable {
public:
    LogCapture();
    ~LogCapture();

    // All messages logged since the last call. A marker message follows them through the writer
    // thread and shows when they have arrived.
    std::vector<LogLine> take();

    // Only the texts of take().
    Lines messages();
};

// An empty directory of the running test's own below the working directory.
fs::path freshDirectory();

// A test that works in its own directory.
struct InDirectory : ::testing::Test {
    InDirectory() { fs::current_path(freshDirectory()); }
};

// A whole file's bytes. Fails the running test if the file cannot be read.
std::string readFile(const fs::path& path);

// Makes the file's folders, too.
void writeFile(const fs::path& path, const std::string& bytes);

// How many entries a directory has.
std::ptrdiff_t countIn(const fs::path& directory);

std::string repeated(const std::string& text, std::size_t times);

// The text with each `from` replaced.
std::string replaced(std::string text, const std::string& from, const std::string& to);

// Any bytes, the same ones for the same size.
std::string someBytes(std::size_t size);

// Expects results of a call: each case is "text => result".
template<class Call, class... Cases>
void expectEach(const Call& call, const Cases&... cases) {
    for (const std::string& one : std::initializer_list<std::string>{cases...}) {
        const std::size_t arrow = one.find(" => ");
        EXPECT_EQ(call(one.substr(0, arrow)), one.substr(arrow + 4)) << one;
    }
}

// The message of the exception that a call throws; empty if it throws none.
template<class Call>
std::string messageOf(const Call& call) {
    try {
        call();
    } catch (const std::runtime_error& exception) {
        return exception.what();
    }
    return "";
}

// Runs body(0) to body(count - 1), each in a thread of its own, and waits for all of them.
template<class Body>
void inThreads(int count, Body body) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(body, number);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace qz::test

using namespace qz::test;
