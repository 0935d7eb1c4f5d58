#include "support/log_capture.h"

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

namespace qz::test {

namespace {

constexpr char kMarkerModule[] = "LogCapture";

// Unique texts, so that duplicate detection never swallows a marker.
std::string nextMarker() {
    static int count = 0;
    return "marker " + std::to_string(++count);
}

} // namespace

void needOwnProcess() {
    static bool isTaken = false;
    if (std::exchange(isTaken, true)) {
        std::fflush(stdout);
        std::fputs("Each of these tests needs a process of its own: run them with ctest, or one "
                   "with --gtest_filter.\n",
                   stderr);
        std::_Exit(EXIT_FAILURE);
    }
}

LogCapture::LogCapture() {
    needOwnProcess();
    EXPECT_EQ(qz_log_start(".", nullptr), 0);
    EXPECT_EQ(qz_log_hook_start(), 0);
    take();
}

LogCapture::~LogCapture() {
    qz_log_stop();
}

std::vector<LogLine> LogCapture::take() {
    const std::string marker = nextMarker();
    qz_log(kMarkerModule, QZ_LOG_TRACE, marker.c_str());
    std::vector<LogLine> lines;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < deadline) {
        const qz_log_entry* entry = qz_log_hook_read();
        if (entry == nullptr) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } else if (entry->module == std::string(kMarkerModule) && entry->message == marker) {
            return lines;
        } else {
            lines.push_back({entry->module, entry->level, entry->message});
        }
    }
    ADD_FAILURE() << "the log's writer thread did not deliver a marker";
    return lines;
}

std::vector<std::string> LogCapture::messages() {
    std::vector<std::string> texts;
    for (LogLine& line : take()) {
        texts.push_back(std::move(line.message));
    }
    return texts;
}

std::filesystem::path freshDirectory() {
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::filesystem::path directory =
        std::filesystem::current_path() /
        (std::string(test->test_suite_name()) + "." + test->name());
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
    return directory;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

// Makes the file's folders, too.
void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    if (path.has_parent_path()) {
        std::filesystem::create_directories(path.parent_path());
    }
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    EXPECT_TRUE(file.flush()) << path;
}

std::ptrdiff_t countIn(const std::filesystem::path& directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

} // namespace qz::test
