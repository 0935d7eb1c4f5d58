#include "Core/Log.h"

#include "Core/Environment.h"
#include "log_tally.h"

#include <regex>

namespace {

// A log in a directory of its own. Lines are read after the log was stopped.
struct Log : ::testing::Test {
    void start(const char* name = "main") {
        ASSERT_EQ(qz_log_start(directory_.string().c_str(), name), 0);
    }

    // The lines of an output, each without its time.
    Lines lines(const std::string& name = "main") const {
        Lines result;
        std::istringstream stream(readFile(path(name)));
        for (std::string line; std::getline(stream, line);) {
            const std::regex timeOrReturn("^[0-9]{5,}\\.[0-9]{3} |\r$");
            result.push_back(std::regex_replace(line, timeOrReturn, ""));
        }
        return result;
    }

    fs::path path(const std::string& name) const { return directory_ / (name + ".log"); }

    const fs::path directory_ = freshDirectory();
};

// The first line is what start-up itself logged.
const std::string kStartUp = "DEBUG   Lua: Created state \"Config\"";

TEST_F(Log, WritesLinesOfEveryLevelAndCutsLongTexts) {
    start();
    qz_log("M", QZ_LOG_ALERT, "a"); // shows a message box, which closes at once without a display
    qz_log("M", QZ_LOG_ERROR, "b");
    qz_log("M", QZ_LOG_WARNING, "c");
    qz_log("M", QZ_LOG_INFO, "100% %s %n");
    qz_log("M", QZ_LOG_DEBUG, "e");
    qz_log("M", QZ_LOG_TRACE, "f");
    qz_log("M", 0x20, "g");
    qz_log(nullptr, QZ_LOG_INFO, nullptr);
    qz_log("M", QZ_LOG_INFO, "one line break\n");
    qz_log("M", QZ_LOG_INFO, "");
    qz_log("M", QZ_LOG_INFO, "two\n\n");
    qz_log("M", QZ_LOG_INFO, std::string(5000, 'x').c_str());
    qz_log("M", QZ_LOG_INFO, std::string(500, '\xB1').c_str()); // not UTF-8
    qz_log((std::string(62, 'm') + "\u00E4").c_str(), QZ_LOG_INFO, "whole characters");
    qz_log(std::string(100, 'm').c_str(), QZ_LOG_INFO, "y");
    qz_logf("M", QZ_LOG_INFO, "%d of %s", 1, "two");
    qz_log_stop();
    EXPECT_EQ(lines(), (Lines{kStartUp, "ALERT   M: a", "ERROR   M: b", "WARNING M: c",
                              "INFO    M: 100% %s %n", "DEBUG   M: e", "UNKNOWN M: g",
                              "INFO    <NULL>: <NULL>", "INFO    M: one line break", "INFO    M: ",
                              "INFO    M: two", "", "INFO    M: " + std::string(383, 'x'),
                              "INFO    M: " + std::string(383, '\xB1'),
                              "INFO    " + std::string(62, 'm') + ": whole characters",
                              "INFO    " + std::string(63, 'm') + ": y", "INFO    M: 1 of two"}));
    const std::string first = readFile(path("main")).substr(0, 10);
    EXPECT_TRUE(std::regex_match(first, std::regex("0000[0-9]\\.[0-9]{3} "))) << first;
}

TEST_F(Log, ReportsDuplicatesWhenADifferentMessageArrives) {
    start();
    qz_log("A", QZ_LOG_INFO, "same");
    qz_log("A", QZ_LOG_INFO, "same");
    qz_log("B", QZ_LOG_ERROR, "same"); // only the texts count
    qz_log("A", QZ_LOG_INFO, "different");
    qz_log("A", QZ_LOG_INFO, "different"); // not reported, because nothing follows
    qz_log_stop();
    EXPECT_EQ(lines(),
              (Lines{kStartUp, "INFO    A: same", "WARNING LOG: 2 duplicate message(s) skipped.",
                     "INFO    A: different"}));
    // The line about duplicates has the time of the message that it precedes.
    const std::string text = readFile(path("main"));
    const auto timeBefore = [&](const char* part) {
        const std::size_t line = text.rfind('\n', text.find(part)) + 1;
        return text.substr(line, 9);
    };
    EXPECT_EQ(timeBefore("2 duplicate"), timeBefore("A: different"));
}

// Start-up's own line takes one of the 1024 records.
void overfillThePoolByFive() {
    for (int i = 0; i < 1023 + 5; ++i) {
        qz_log("M", QZ_LOG_TRACE, std::to_string(i).c_str());
    }
}

TEST_F(Log, CountsWhatThePoolCannotHold) {
    overfillThePoolByFive();
    start();
    for (int i = 0; i < 2; ++i) { // the first request may be lost, too
        qz_log_set_output("all", nullptr, QZ_LOG_ALL | QZ_LOG_TRACE);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    qz_log("M", QZ_LOG_INFO, "after");
    qz_log_stop();
    const auto expected = [](const char* count) {
        return Lines{kStartUp, "WARNING LOG: "s + count + " messages lost", "INFO    M: after"};
    };
    EXPECT_TRUE(lines() == expected("5") || lines() == expected("6")) << lines().at(1);
}

TEST_F(Log, SaysAtItsEndWhatWasLostAfterTheLastMessage) {
    overfillThePoolByFive();
    start();
    qz_log_stop();
    EXPECT_EQ(lines(), (Lines{kStartUp, "WARNING LOG: 5 messages lost"}));
}

TEST_F(Log, OutputsFilterByModuleAndMask) {
    start();
    qz_log_set_output("net", "NET", QZ_LOG_ERROR | QZ_LOG_WARNING);
    qz_log("NET", QZ_LOG_ERROR, "1");
    qz_log("NET", QZ_LOG_INFO, "2");
    qz_log("net", QZ_LOG_ERROR, "3");
    qz_log("NET2", QZ_LOG_ERROR, "4");
    qz_log_set_output("net", nullptr, QZ_LOG_INFO | QZ_LOG_TRACE);
    qz_log("ANY", QZ_LOG_INFO, "5");
    qz_log("NET", QZ_LOG_ERROR, "6");
    qz_log("ANY", QZ_LOG_TRACE, "7");
    qz_log_set_output("net", nullptr, 0);
    qz_log("NET", QZ_LOG_INFO, "8");
    qz_log_set_output("closed already", nullptr, 0);
    qz_log_stop();
    EXPECT_EQ(lines("net"), (Lines{"ERROR   NET: 1", "INFO    ANY: 5", "ANY: 7"}));
    EXPECT_EQ(lines().size(), 1u + 7u) << "the first output takes all but TRACE";
}

TEST_F(Log, KeepsOnePreviousGeneration) {
    writeFile(path("main"), "older\n");
    writeFile(directory_ / "main.log.old", "oldest\n");
    start();
    const std::string longName(100, 'n');
    qz_log_set_output(longName.c_str(), nullptr, QZ_LOG_ALL);
    qz_log("M", QZ_LOG_INFO, "first opening");
    qz_log_set_output((longName + "and more").c_str(), nullptr, 0); // the same name after it is cut
    qz_log_set_output(longName.c_str(), nullptr, QZ_LOG_ALL);
    qz_log("M", QZ_LOG_INFO, "second opening");
    qz_log_stop();
    EXPECT_EQ(readFile(directory_ / "main.log.old").substr(0, 5), "older");
    const std::string cut(63, 'n');
    EXPECT_EQ(lines(cut), Lines{"INFO    M: second opening"});
    EXPECT_NE(readFile(directory_ / (cut + ".log.old")).find("first opening"), std::string::npos);
}

TEST_F(Log, AnOutputThatCannotBeOpenedIsAbsentAndOnlyTheFirstSaysSo) {
    ::testing::internal::CaptureStderr();
    const fs::path missing = directory_ / "missing" / std::string(255, 'm');
    ASSERT_EQ(qz_log_start(missing.string().c_str(), "main"), 0);
    const std::string echo = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(echo.find("ERROR   LOG: directory cut at 255 bytes: \""), std::string::npos) << echo;
    EXPECT_NE(echo.find("ERROR   LOG: can't open \""), std::string::npos) << echo;
    qz_log_set_output("../still/missing", nullptr, QZ_LOG_ALL);
    qz_log_set_output("", nullptr, QZ_LOG_ALL);
    qz_log("M", QZ_LOG_INFO, "into nothing");
    qz_log_stop();
    EXPECT_FALSE(fs::exists(directory_ / "missing"));
}

TEST_F(Log, RunsOnceAndStaysSilentAfterwards) {
    EXPECT_EQ(qz_log_hook_start(), -1);
    qz_log_stop(); // not running: nothing happens
    start();
    EXPECT_EQ(qz_log_start(directory_.string().c_str(), "second"), -1);
    qz_log("M", QZ_LOG_INFO, "written");
    qz_log_stop();
    qz_log_stop();
    EXPECT_EQ(qz_log_start(directory_.string().c_str(), "main"), -1) << "it stays stopped";
    ::testing::internal::CaptureStderr();
    qz_log("M", QZ_LOG_INFO, "after the stop");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    qz_log_exit();
    qz_log_exit();
    ::testing::internal::CaptureStderr();
    qz_log("M", QZ_LOG_INFO, "after the exit: echoed only");
    qz_log_set_output("late", nullptr, QZ_LOG_ALL);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("INFO    M: after the exit"),
              std::string::npos);
    EXPECT_EQ(lines(), (Lines{kStartUp, "INFO    M: written"}));
}

TEST_F(Log, EchoesWholeMessagesToAFileOnStandardError) {
    start();
    ::testing::internal::CaptureStderr();
    qz_log("M", QZ_LOG_INFO, "grün Ω");
    qz_log("M", QZ_LOG_TRACE, "not this");
    qz_log("M", QZ_LOG_INFO, std::string(3000, 'x').c_str());
    const std::string echo = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(echo.find("INFO    M: grün Ω\n"), std::string::npos);
    EXPECT_EQ(echo.find("not this"), std::string::npos);
    EXPECT_EQ(std::count(echo.begin(), echo.end(), 'x'), 2048 - 1 - 1 - 21)
        << "a line of 2047 bytes: time and level, module, text, line break";
    qz_log_stop();
}

TEST(LogHook, DeliversWhatTheWriterThreadHandledAndCountsWhatItsQueueCannotHold) {
    LogCapture log;
    EXPECT_EQ(qz_log_hook_start(), -1) << "one is active";
    qz_log("M", QZ_LOG_WARNING, "one");
    qz_log("M", QZ_LOG_WARNING, "one");
    qz_log("M", QZ_LOG_TRACE, "two");
    EXPECT_EQ(log.messages(), (Lines{"one", "one", "two"}));
    EXPECT_EQ(qz_log_hook_read(), nullptr);
    constexpr std::uint32_t kMessages = 700;
    for (std::uint32_t i = 0; i < kMessages; ++i) {
        qz_log("M", QZ_LOG_TRACE, std::to_string(i).c_str());
    }
    std::this_thread::sleep_for(300ms);
    std::uint32_t count = 1; // the entry that was read last takes a place
    while (qz_log_hook_read() != nullptr) {
        ++count;
    }
    EXPECT_EQ(count, 512u);
    qz_log("M", QZ_LOG_TRACE, "next");
    const qz_log_entry* entry = nullptr;
    for (int tries = 0; entry == nullptr && tries < 1000; ++tries) {
        std::this_thread::sleep_for(5ms);
        entry = qz_log_hook_read();
    }
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->lost, kMessages - 511u);
    qz_log_hook_stop();
    EXPECT_EQ(qz_log_hook_read(), nullptr);
}

// Reads until this text comes; returns the number of entries read.
int readUntil(qz_log_reader* reader, const std::string& text) {
    for (int count = 1; true;) {
        const qz_log_entry* const entry = qz_log_reader_read(reader);
        if (entry != nullptr && entry->message == text) {
            EXPECT_EQ(entry->lost, 0u);
            return count;
        }
        count += entry != nullptr ? 1 : 0;
        std::this_thread::yield();
    }
}

// One reader is never read to its end, which affects neither the log nor the other reader.
TEST_F(Log, HasReadersThatReadIndependently) {
    qz_log_reader* readers[8];
    for (qz_log_reader*& reader : readers) {
        ASSERT_NE(reader = qz_log_reader_open(), nullptr);
    }
    EXPECT_EQ(qz_log_reader_open(), nullptr);
    std::for_each(readers + 2, readers + 8, qz_log_reader_close);
    qz_log_reader* const brisk = readers[0];
    qz_log_reader* const lagging = readers[1];
    start();
    ASSERT_EQ(qz_log_hook_start(), 0);
    int read = 0;
    for (int i = 0; i < 1100; ++i) {
        qz_log("M", QZ_LOG_TRACE, std::to_string(i).c_str());
        read += i % 100 == 99 ? readUntil(brisk, std::to_string(i)) : 0;
    }
    EXPECT_EQ(read, 1 + 1100) << "start-up's own line is the first";
    qz_log_hook_stop();
    EXPECT_STREQ(qz_log_reader_read(lagging)->message, "Created state \"Config\"");
    EXPECT_STREQ(qz_log_reader_read(lagging)->message, "0");
    qz_log("M", QZ_LOG_TRACE, "last");
    qz_log_stop();
    EXPECT_EQ(readUntil(brisk, "last"), 1);
    EXPECT_EQ(qz_log_reader_read(brisk), nullptr);
    for (int i = 1; i < 511; ++i) {
        EXPECT_EQ(qz_log_reader_read(lagging)->message, std::to_string(i));
    }
    const qz_log_entry* const last = qz_log_reader_read(lagging);
    EXPECT_STREQ(last->message, "last");
    EXPECT_EQ(last->lost, 1101u - 512u);
    EXPECT_EQ(qz_log_reader_open(), nullptr) << "nothing is to come";
    std::for_each(readers, readers + 2, qz_log_reader_close);
    qz_log_reader_close(nullptr);
    EXPECT_EQ(qz_log_reader_read(nullptr), nullptr);
}

// Some places are taken by readers that never read. If a close did not free its place, opens would
// soon fail.
TEST(LogReader, ComesAndGoesWhileOthersLog) {
    qz_log_reader* idle[3];
    std::generate(std::begin(idle), std::end(idle), qz_log_reader_open);
    ASSERT_EQ(qz_log_start(".", nullptr), 0);
    std::atomic<bool> stopping{false}, done{false};
    std::atomic<int> read{0};
    const auto readOnce = [&] {
        qz_log_reader* const reader = qz_log_reader_open();
        EXPECT_TRUE(reader != nullptr || stopping);
        const qz_log_entry* entry = nullptr;
        while (reader != nullptr && entry == nullptr && !done) {
            entry = qz_log_reader_read(reader);
        }
        if (entry != nullptr && entry->level == QZ_LOG_TRACE) { // not start-up's own line
            EXPECT_STREQ(entry->module, entry->message);
            ++read;
        }
        qz_log_reader_close(reader);
    };
    inThreads(5, [&](int thread) {
        if (thread == 0) {
            std::this_thread::sleep_for(300ms);
            stopping = true;
            qz_log_stop();
            done = true;
        }
        for (int i = 0; thread < 3 && !done; ++i) {
            const std::string text = std::to_string(i);
            qz_log(text.c_str(), QZ_LOG_TRACE, text.c_str());
            if (i % 64 == 0) { // pauses after a batch, to let readers read
                std::this_thread::sleep_for(100us);
            }
        }
        while (!done) {
            readOnce();
        }
    });
    std::for_each(std::begin(idle), std::end(idle), qz_log_reader_close);
    EXPECT_GT(read, 0);
}

#if defined(QZ_TEST_IS_SLOW)
constexpr int kEach = 10000;
#else
constexpr int kEach = 125000;
#endif
constexpr int kThreads = 8;

TEST_F(Log, LosesNothingUncounted) {
    start();
    ::testing::internal::CaptureStderr();
    unsigned requests = 0;
    std::jthread director([&](const std::stop_token& end) {
        for (; !end.stop_requested(); ++requests) {
            const unsigned masks[] = {QZ_LOG_ALL, QZ_LOG_INFO, 0};
            qz_log_set_output("other", requests % 2 ? "T" : nullptr, masks[requests % 3]);
            std::this_thread::sleep_for(1ms);
        }
    });
    inThreads(kThreads, [](int thread) {
        for (int i = 0; i < kEach; ++i) {
            logNumber(thread, i);
            if (i % 512 == 0) {
                std::this_thread::yield();
            }
        }
    });
    director.request_stop();
    director.join();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    qz_log("END", QZ_LOG_INFO, "with it goes the count of what was lost");
    qz_log_stop();
    ::testing::internal::GetCapturedStderr();

    const LogTally tally(readFile(path("main")));
    constexpr std::int64_t kAll = std::int64_t{kThreads} * kEach;
    EXPECT_GT(tally.written, 0);
    EXPECT_GE(tally.written + tally.lost, kAll);
    EXPECT_LE(tally.written + tally.lost, kAll + requests) << "lost requests count as well";
}

// Logs at the end of the process: the library outlives the host's static objects.
struct LateUser {
    ~LateUser() { qz_log("M", QZ_LOG_INFO, SYS_argc() > 1 ? SYS_bindir() : ""); }
};

TEST_F(Log, WritesEverythingWhenTheProcessEndsWithoutAStop) {
    EXPECT_EXIT(
        {
            static const LateUser lateUser;
            start();
            for (int i = 0; i < 400; ++i) {
                qz_log("M", QZ_LOG_INFO, std::to_string(i).c_str());
            }
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    const std::string text = readFile(path("main"));
    EXPECT_GT(std::count(text.begin(), text.end(), '\n'), 400) << "and what start-up logged";
}

TEST(LogLevels, GoByTheirNames) {
    const std::pair<const char*, int> texts[] = {
        {"alert", 2},
        {"Error, warning", 0x18},
        {"all|trace", 0x1FF},
        {" none ", 0},
        {"", -1},
        {nullptr, -1},
        {" ,", -1},
        {"error errors", -1},
        {"unknown", -1},
    };
    for (const auto& [text, expected] : texts) {
        unsigned int levels = 77;
        const int isRead = qz_log_parse_levels(text, &levels);
        EXPECT_EQ(isRead != 0 ? static_cast<int>(levels) : -1, expected) << text;
        EXPECT_EQ(isRead != 0 || levels == 77, true) << text;
    }
    for (const qz_log_level* level = qz_log_levels(); level->name != nullptr; ++level) {
        EXPECT_STREQ(qz_log_level_name(level->flag), level->name);
    }
    EXPECT_STREQ(qz_log_level_name(QZ_LOG_ALL), "UNKNOWN");
}

} // namespace
