// What the log does with files that are none. Linux only: the other target has no such things.
#include "Core/Log.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

namespace {

using qz::test::freshDirectory;

// A disk that takes nothing until it is told to.
class StuckDisk {
public:
    explicit StuckDisk(const std::filesystem::path& path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        reader_ = open(path.c_str(), O_RDONLY | O_NONBLOCK);
        EXPECT_GE(reader_, 0);
    }
    ~StuckDisk() { close(reader_); }
    StuckDisk(const StuckDisk&) = delete;
    StuckDisk& operator=(const StuckDisk&) = delete;

    // Everything until the writing end is closed, and possibly more than one opening's worth.
    std::string readAll() {
        fcntl(reader_, F_SETFL, 0);
        std::string text;
        char buffer[65536];
        for (ssize_t count; (count = read(reader_, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int reader_;
};

TEST(LogOnAPipe, NoCallerWaitsForAStuckDisk) {
    const auto directory = freshDirectory();
    StuckDisk disk(directory / "slow.log");
    ASSERT_EQ(qz_log_start(directory.c_str(), "slow"), 0);
    ::testing::internal::CaptureStderr();
    // Far more than the pipe and the pool hold. If a caller waited, this would never end: the pipe
    // is read only afterwards.
    constexpr int kMessages = 20000;
    for (int i = 0; i < kMessages; ++i) {
        qz_log("M", QZ_LOG_INFO, ("message " + std::to_string(i)).c_str());
    }
    std::string text;
    std::thread reader([&] { text = disk.readAll(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    qz_log("M", QZ_LOG_INFO, "the last");
    qz_log_stop();
    reader.join();
    ::testing::internal::GetCapturedStderr();

    std::int64_t written = 0;
    std::int64_t lost = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        unsigned remarked = 0;
        const std::size_t remark = line.find("WARNING LOG: ");
        if (remark != std::string::npos &&
            std::sscanf(line.c_str() + remark, "WARNING LOG: %u messages lost", &remarked) == 1) {
            lost += remarked;
        }
        written += line.find("M: message ") != std::string::npos ? 1 : 0;
    }
    EXPECT_GT(lost, 0);
    EXPECT_EQ(written + lost, kMessages);
    EXPECT_NE(text.find("M: the last"), std::string::npos);
}

TEST(LogOnAPipe, OneThatNobodyReadsIsNoOutput) {
    const auto directory = freshDirectory();
    ASSERT_EQ(mkfifo((directory / "main.log").c_str(), 0600), 0);
    ASSERT_EQ(qz_log_start(directory.c_str(), "main"), 0);
    qz_log("M", QZ_LOG_INFO, "into nothing");
    qz_log_stop();
    EXPECT_FALSE(std::filesystem::exists(directory / "main.log.old"));
}

// What is tested is that the child ends; it would not if anything at exit waited for the pipe.
TEST(LogOnAPipe, NoProcessWaitsForAStuckDiskAtItsEnd) {
    const auto directory = freshDirectory();
    const StuckDisk disk(directory / "slow.log");
    EXPECT_EXIT(
        {
            qz_log_start(directory.c_str(), "slow");
            for (int i = 0; i < 3000; ++i) { // slowly enough for the pipe to fill up
                qz_log("M", QZ_LOG_INFO, ("message " + std::to_string(i)).c_str());
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(LogOnAPipe, AReaderThatHasGoneEndsNobody) {
    const auto directory = freshDirectory();
    auto disk = std::make_unique<StuckDisk>(directory / "slow.log");
    ASSERT_EQ(qz_log_start(directory.c_str(), "slow"), 0);
    disk.reset();
    for (int i = 0; i < 100; ++i) {
        qz_log("M", QZ_LOG_INFO, std::to_string(i).c_str());
    }
    qz_log_stop(); // a broken pipe would have killed the process before it comes back
}

// A death test forks.
TEST(LogInAForkedChild, LeavesTheFilesToTheParent) {
    const auto directory = freshDirectory();
    ASSERT_EQ(qz_log_start(directory.c_str(), "forked"), 0);
    EXPECT_EXIT(
        {
            alarm(20);
            qz_log("M", QZ_LOG_TRACE, "of the child");
            qz_log_stop();
            qz_log_exit();
            std::exit(3);
        },
        ::testing::ExitedWithCode(3), "");
    ::testing::internal::CaptureStderr();
    qz_log("M", QZ_LOG_INFO, "of the parent");
    qz_log_stop();
    ::testing::internal::GetCapturedStderr();
    EXPECT_NE(qz::test::readFile(directory / "forked.log").find("of the parent"),
              std::string::npos);
}

} // namespace
