// qz_publish and its readers.
#include "Core/Log.h"
#include "Core/Watch.h"
#include "Util/Publish.h"
#include "failure.h"
#include "published.h"
#include "support/test.h"

#if !defined(_WIN32)
#    include <unistd.h>
#endif

namespace {

// The name that this test publishes under. Other tests run at the same time.
std::string own() {
    return std::string("test.") + testing::UnitTest::GetInstance()->current_test_info()->name();
}

std::vector<std::string> publishedNames() {
    std::vector<std::string> names;
    for (const Program& program : runningPrograms()) {
        if (program.name.starts_with(own())) {
            names.push_back(program.name);
        }
    }
    return names;
}

TEST(Publish, NamesComeAndGo) {
    LogCapture log;
    std::string longest = own() + ".";
    longest.resize(48, 'x');
    for (const char* name : {"", "a/b", "a\\b", "a b", "\xC3\xA4"}) {
        EXPECT_EQ(qz_publish(name), 0) << name;
        EXPECT_EQ(qz_publish(name), 0) << name;
        EXPECT_EQ(log.messages().size(), 1U) << name;
    }
    EXPECT_EQ(qz_publish(nullptr), 0);
    EXPECT_EQ(qz_publish((longest + "x").c_str()), 0);
    EXPECT_EQ(qz_publish(longest.c_str()), 1);
    EXPECT_EQ(publishedNames(), std::vector{longest});
    EXPECT_EQ(qz_publish(own().c_str()), 1);
    EXPECT_EQ(publishedNames(), std::vector<std::string>{own()});
    const std::uint64_t process = Watched(own()).program().process;
    qz_publish_stop();
    qz_publish_stop();
    {
        // A program that has our number in another namespace of processes.
        const platform::OpenSharedMemory other(platform::openSharedMemory(
            util::publishedAs(util::kRunningPrefix, own(), process).c_str(), 8, nullptr));
        EXPECT_EQ(qz_publish(own().c_str()), 0);
        qz_publish_stop();
    }
    EXPECT_TRUE(publishedNames().empty());
    EXPECT_THROW(Watched{own()}, Failure);
}

// The child is forked in the middle of a call, which no thread finishes there.
void publishInAForkedChild() {
#if !defined(_WIN32)
    EXPECT_EXIT(
        {
            alarm(20);
            qz_publish_stop();
            std::exit(qz_publish((own() + ".child").c_str()) == 0 ? 3 : 4);
        },
        ::testing::ExitedWithCode(3), "");
#endif
}

TEST(Publish, AWatchMayPublish) {
    ASSERT_EQ(QZ_watch_set(
                  "recursive",
                  [](unsigned int, char* buffer, size_t size, void*) -> size_t {
                      publishInAForkedChild();
                      qz_publish_stop(); // as a static object may when a watch calls exit
                      const int result = qz_publish((own() + ".other").c_str());
                      const auto first = Watched(own()).view().snapshot();
                      const bool hasTime = first && first->figures.time != 0;
                      return static_cast<size_t>(std::snprintf(
                          buffer, size, "%d, time %d%85s\u20AC", result, hasTime, ""));
                  },
                  nullptr),
              1);
    ASSERT_EQ(qz_publish(own().c_str()), 1);
    const auto snapshot = Watched(own()).view().snapshot();
    ASSERT_TRUE(snapshot.has_value());
    ASSERT_GT(snapshot->figures.watches, 0U);
    const util::PublishedWatch& last = snapshot->watches[snapshot->figures.watches - 1];
    EXPECT_STREQ(last.name, "recursive");
    EXPECT_EQ(last.value, "1, time 1" + std::string(85, ' ')) << "cut within a character";
    qz_publish_stop();
}

// In a forked child that thread may never come back.
TEST(Publish, DoesNotWaitForAThreadThatReadsWatches) {
    static std::atomic<int> calls = 0;
    static std::atomic<bool> mayLeave = false;
    const auto wait = [](unsigned int, char*, size_t, void*) -> size_t {
        for (++calls; !mayLeave;) {
            std::this_thread::yield();
        }
        return 0;
    };
    ASSERT_EQ(QZ_watch_set("slow", wait, nullptr), 1);
    std::thread other([] { QZ_watch_get_one("slow", 0, nullptr, 0); });
    while (calls == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(qz_publish(own().c_str()), 1);
    mayLeave = true;
    other.join();
    while (calls == 1) {
        EXPECT_EQ(qz_publish(own().c_str()), 1);
    }
}

TEST(Publish, WithoutALogReader) {
    LogCapture log;
    std::vector<qz_log_reader*> readers;
    while (qz_log_reader* const reader = qz_log_reader_open()) {
        readers.push_back(reader);
    }
    EXPECT_EQ(qz_publish(own().c_str()), 1);
    const std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_TRUE(messages[0].starts_with("The log is not published")) << messages[0];
    qz_publish_stop();
    std::ranges::for_each(readers, qz_log_reader_close);
}

// The program publishes once and then no more, as if it hung, but its log goes on.
TEST(Publish, ReadersThatLagSeeAGap) {
    ASSERT_EQ(qz_log_start(nullptr, nullptr), 0);
    ASSERT_EQ(qz_publish(own().c_str()), 1);
    Watched former(own());
    qz_publish_stop();
    ASSERT_EQ(qz_publish(own().c_str()), 1);
    Watched watched(own());
    const std::string filler(300, 'x');
    std::string text;
    for (int i = 0; i < 1000; ++i) { // more than the ring holds, and fewer than the log does
        text = std::to_string(i) + filler;
        qz_log("TEST", QZ_LOG_TRACE, text.c_str());
    }
    text = "last words";
    qz_log("TEST", QZ_LOG_INFO, text.c_str());
    qz_log_stop();
    qz_publish_stop();
    EXPECT_FALSE(former.view().nextLine().has_value()) << "another program's";
    EXPECT_TRUE(former.hasEnded());
    auto line = watched.view().nextLine();
    ASSERT_TRUE(line.has_value());
    EXPECT_TRUE(line->isBehindGap);
    std::string last;
    for (; line; line = watched.view().nextLine()) {
        last = line->text;
    }
    EXPECT_EQ(last, text);
    EXPECT_TRUE(watched.hasEnded());
}

// Each snapshot is one byte repeated. The writer pauses between two: a reader may never get a whole
// snapshot from a writer that never pauses.
TEST(Published, SnapshotsAreWhole) {
    const auto block = std::make_unique<util::PublishedBlock>();
    block->head.mark = util::kPublishedMark;
    CRingBuffer().Init(block->log, sizeof block->log);
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
        util::PublishedSnapshot snapshot;
        for (unsigned char byte = 0; !isOver; ++byte) {
            std::memset(&snapshot, byte, sizeof snapshot);
            {
                const util::PublishedChange change(block->head);
                util::storePublished(block->snapshot, snapshot);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(byte % 8 * 10));
        }
    });
    const PublishedView view(reinterpret_cast<char*>(block.get()), sizeof *block);
    int torn = 0, last = -1;
    for (int different = 0; torn == 0 && different < 1000;) {
        if (const auto snapshot = view.snapshot()) {
            const int byte = static_cast<int>(snapshot->figures.time & 0xFFU);
            different += byte != last;
            last = byte;
            char other[sizeof snapshot->frameTimes];
            std::memset(other, byte, sizeof other);
            torn += std::memcmp(snapshot->frameTimes, other, sizeof other) != 0 ||
                    snapshot->watches[15].value[0] != other[0];
        }
    }
    isOver = true;
    writer.join();
    EXPECT_EQ(torn, 0);
    block->head.sequence = 1; // a writer that died
    EXPECT_FALSE(view.snapshot().has_value());
    { const util::PublishedChange nextProgram(block->head); }
    EXPECT_TRUE(view.snapshot().has_value());
}

} // namespace
