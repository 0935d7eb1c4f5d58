// What the log does where only Linux has the means: paths that are not ordinary files, threads that
// cannot start.
#include "Core/Environment.h"
#include "Core/Log.h"
#include "Core/Threads.h"
#include "log_tally.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

// A disk that takes no data until it is told to: a pipe.
class StuckDisk : NonCopyable {
public:
    explicit StuckDisk(const fs::path& path) : path_(path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        comeBack();
        EXPECT_GE(reader_, 0);
    }
    ~StuckDisk() { close(reader_); }

    // Reads until the writing end is closed. It may have been opened more than once.
    std::string readAll() {
        fcntl(reader_, F_SETFL, 0);
        std::string text;
        char buffer[65536];
        for (ssize_t count; (count = read(reader_, buffer, sizeof buffer)) > 0;) {
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }

    void leave() { close(std::exchange(reader_, -1)); }
    void comeBack() { reader_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK); }

private:
    const fs::path path_;
    int reader_;
};

// While it lives, standard error is a pipe.
class PipeOnStandardError : NonCopyable {
public:
    PipeOnStandardError() : before_(dup(STDERR_FILENO)) {
        EXPECT_EQ(pipe(ends_), 0);
        dup2(ends_[1], STDERR_FILENO);
        close(ends_[1]);
    }
    ~PipeOnStandardError() {
        dup2(before_, STDERR_FILENO);
        close(before_);
    }

    int reader() const { return ends_[0]; }

private:
    const int before_;
    int ends_[2];
};

void logMessages(int first, int end) {
    for (int i = first; i < end; ++i) {
        logNumber(0, i);
    }
}

// Logs in batches, so that the pool does not run out.
void logSlowly(int first, int end) {
    for (int i = first; i < end; i += 10) {
        logMessages(i, i + 10);
        std::this_thread::sleep_for(5ms);
    }
}

struct LogOnAPipe : testing::Test {
    LogOnAPipe() { testing::internal::CaptureStderr(); }
    ~LogOnAPipe() override { testing::internal::GetCapturedStderr(); }

    // What the log writes from now on, with what is logged last.
    std::string readToTheEnd(const std::function<void()>& logMore) {
        std::string text;
        std::thread reader([&] { text = disk_.readAll(); });
        std::this_thread::sleep_for(300ms);
        logMore();
        qz_log_stop();
        reader.join();
        return text;
    }

    const fs::path directory_ = freshDirectory();
    StuckDisk disk_{directory_ / "slow.log"};
};

TEST_F(LogOnAPipe, NoCallerWaitsForAStuckDisk) {
    ASSERT_EQ(qz_log_start(directory_.c_str(), "slow"), 0);
    // Far more than the pipe and the pool hold. If a caller waited, this would never end: the pipe
    // is read only afterwards.
    constexpr int kMessages = 20000;
    logMessages(0, kMessages);
    const std::string text = readToTheEnd([] { qz_log("M", QZ_LOG_INFO, "the last"); });
    const LogTally tally(text);
    EXPECT_GT(tally.lost, 0);
    EXPECT_EQ(tally.written + tally.lost, kMessages);
    EXPECT_NE(text.find("M: the last"), std::string::npos);
}

TEST_F(LogOnAPipe, OneThatNobodyReadsIsNoOutput) {
    disk_.leave();
    ASSERT_EQ(qz_log_start(directory_.c_str(), "slow"), 0);
    qz_log("M", QZ_LOG_INFO, "into nothing");
    qz_log_stop();
    EXPECT_FALSE(fs::exists(directory_ / "slow.log.old"));
}

// Tests that the child ends: it would not if anything at exit waited for the pipe.
TEST(LogAtExit, NoProcessWaitsForAStuckDisk) {
    const auto directory = freshDirectory();
    const StuckDisk disk(directory / "slow.log");
    EXPECT_EXIT(
        {
            qz_log_start(directory.c_str(), "slow");
            logSlowly(0, 3000); // enough for the pipe to fill up
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

// Without the log's guard, a broken pipe would kill the process.
TEST_F(LogOnAPipe, AReaderThatHasGoneEndsNobodyAndTheNextOneLearnsWhatWasLost) {
    ASSERT_EQ(qz_log_start(directory_.c_str(), "slow"), 0);
    logSlowly(0, 2500); // more than a pipe holds, and its last write is cut short
    disk_.leave();
    logSlowly(2500, 2600);
    disk_.comeBack();
    const LogTally tally(readToTheEnd([] { logMessages(2600, 2700); }));
    EXPECT_GT(tally.lost, 0);
    EXPECT_EQ(tally.written + tally.lost, 2700);
}

// Standard error is redirected after the log's start, which the log does not notice. Without its
// guard, a broken pipe would kill the process.
TEST(LogEcho, AReaderThatHasGoneEndsNobody) {
    const auto directory = freshDirectory();
    ASSERT_EQ(qz_log_start(directory.c_str(), nullptr), 0);
    const PipeOnStandardError standardError;
    close(standardError.reader());
    qz_log("M", QZ_LOG_INFO, "to nobody");
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    qz_log_stop();
}

TEST(LogEcho, WaitsForAPipeThatSomebodyMadeNonBlocking) {
    constexpr int kMessages = 1000;
    std::string text;
    std::thread reader;
    {
        const PipeOnStandardError standardError;
        fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
        fcntl(STDERR_FILENO, F_SETPIPE_SZ, 4096);
        reader = std::thread([&text, pipe = standardError.reader()] {
            char buffer[512];
            for (ssize_t count; (count = read(pipe, buffer, sizeof buffer)) > 0;) {
                text.append(buffer, static_cast<std::size_t>(count));
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
            close(pipe);
        });
        logMessages(0, kMessages);
    }
    reader.join();
    const LogTally tally(text);
    EXPECT_EQ(tally.written, kMessages);
    EXPECT_FALSE(tally.isTorn);
}

TEST(LogEcho, KeepsErrnoAndIsNoPlaceToBeCancelled) {
    bool isDone = false;
    std::thread([&isDone] {
        pthread_cancel(pthread_self());
        errno = ENOENT;
        qz_log("M", QZ_LOG_INFO, "to standard error");
        EXPECT_EQ(errno, ENOENT);
        EXPECT_STRNE(SYS_cmdline(), ""); // opens a file
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        isDone = true;
    }).join();
    EXPECT_TRUE(isDone);
}

// As in a daemon that closes all descriptors and then opens its own files.
TEST(LogFile, LeavesAFileOfTheHostsWithItsNumberAlone) {
    const auto directory = freshDirectory();
    writeFile(directory / "own", "save");
    const int number = dup(STDIN_FILENO);
    close(number);
    ASSERT_EQ(qz_log_start(directory.c_str(), "daemon"), 0);
    ASSERT_EQ(fs::read_symlink("/proc/self/fd/" + std::to_string(number)).filename(), "daemon.log");
    const int own = open((directory / "own").c_str(), O_RDWR);
    dup2(own, number);
    logMessages(0, 10);
    qz_log_stop();
    EXPECT_EQ(readFile(directory / "own"), "save");
    EXPECT_EQ(lseek(number, 0, SEEK_CUR), 0);
    close(number);
    close(own);
}

// One that another program empties, as log rotation does, on a disk that then becomes full.
TEST(LogFile, ContinuesAtItsEndAndWithWholeLines) {
    const auto path = freshDirectory() / "cut.log";
    ASSERT_EQ(qz_log_start(path.parent_path().c_str(), "cut"), 0);
    logMessages(0, 100);
    const auto waitFor = [&](const char* line) {
        for (int tries = 0; !readFile(path).ends_with(line) && tries < 5000; ++tries) {
            std::this_thread::sleep_for(1ms);
        }
    };
    waitFor("99\n");
    fs::resize_file(path, 0);
    qz_log("M", QZ_LOG_INFO, "anew");
    waitFor("anew\n");
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{1000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    logSlowly(100, 200);
    setrlimit(RLIMIT_FSIZE, &limit);
    logMessages(200, 300);
    qz_log_stop();
    const std::string text = readFile(path);
    EXPECT_EQ(text.find("INFO    M: anew"), 10U);
    const LogTally tally(text);
    EXPECT_GT(tally.lost, 0);
    EXPECT_EQ(tally.written + tally.lost, 200);
    EXPECT_FALSE(tally.isTorn);
}

void setDefaultStack(std::size_t size) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
}

TEST(LogStart, NeedsLittleStack) {
    setDefaultStack(64 << 10);
    ASSERT_EQ(qz_log_start(freshDirectory().c_str(), "small"), 0);
    const auto readArguments = [](void*) -> void* {
        EXPECT_GT(SYS_argc(), 0);
        return nullptr;
    };
    QZ_thread_wait(QZ_thread_create(readArguments, nullptr, 1));
    qz_log_stop();
}

TEST(LogStart, IsNotTriedAgainAfterAFailure) {
    setDefaultStack(std::size_t{1} << 50); // no thread can start
    const auto directory = freshDirectory();
    qz_log("M", QZ_LOG_INFO, "before");
    EXPECT_GT(qz_log_start(directory.c_str(), "failed"), 0);
    EXPECT_EQ(qz_log_start(directory.c_str(), "failed"), -1);
    EXPECT_NE(readFile(directory / "failed.log").find("before"), std::string::npos);
}

// A death test, because it forks.
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
    EXPECT_NE(readFile(directory / "forked.log").find("of the parent"), std::string::npos);
}

} // namespace
