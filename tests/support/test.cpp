#include "support/test.h"

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"

#include <fstream>

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
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (std::chrono::steady_clock::now() < deadline) {
        const qz_log_entry* entry = qz_log_hook_read();
        if (entry == nullptr) {
            std::this_thread::sleep_for(1ms);
        } else if (entry->module == std::string(kMarkerModule) && entry->message == marker) {
            return lines;
        } else {
            lines.push_back({entry->module, entry->level, entry->message});
        }
    }
    ADD_FAILURE() << "the log's writer thread did not deliver a marker";
    return lines;
}

Lines LogCapture::messages() {
    Lines texts;
    for (LogLine& line : take()) {
        texts.push_back(std::move(line.message));
    }
    return texts;
}

fs::path freshDirectory() {
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const fs::path directory =
        fs::current_path() / (std::string(test->test_suite_name()) + "." + test->name());
    fs::remove_all(directory);
    fs::create_directories(directory);
    return directory;
}

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

void writeFile(const fs::path& path, const std::string& bytes) {
    if (path.has_parent_path()) {
        fs::create_directories(path.parent_path());
    }
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    EXPECT_TRUE(file.flush()) << path;
}

std::ptrdiff_t countIn(const fs::path& directory) {
    return std::distance(fs::directory_iterator(directory), {});
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (; times > 0; --times) {
        all += text;
    }
    return all;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::string someBytes(std::size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    std::string bytes(size, 0);
    std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
    return bytes;
}

} // namespace qz::test
