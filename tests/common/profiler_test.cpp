#include "Common/Profiler.h"

#include "Common/Allocator.h"
#include "Core/Threads.h"
#include "support/test.h"

#include <regex>

namespace {

using Common::ProfiledFunc;
using Common::Profiler;

std::map<std::string, Profiler::Statistics> statistics(const Profiler& profiler) {
    std::map<std::string, Profiler::Statistics> result;
    profiler.visit(
        [](void* context, const char* name, const Profiler::Statistics& one) {
            static_cast<std::map<std::string, Profiler::Statistics>*>(context)->emplace(name, one);
        },
        &result);
    return result;
}

TEST(Profiler, CountsAndTimesSectionsAndFrames) {
    Profiler profiler;
    profiler.enter("before the start");
    profiler.start();
    profiler.leave(); // without an enter
    for (int i = 0; i < 3; ++i) {
        profiler.startFrame();
        {
            const ProfiledFunc outer("outer", profiler);
            const ProfiledFunc inner("inner", profiler);
            std::this_thread::sleep_for(i == 0 ? 20ms : 1ms);
        }
        profiler.endFrame();
    }
    const auto all = statistics(profiler);
    ASSERT_EQ(all.size(), 3U);
    for (const char* name : {"frame", "outer", "inner"}) {
        const Profiler::Statistics& one = all.at(name);
        EXPECT_EQ(one.count, 3U) << name;
        EXPECT_GE(one.maximum, 0.015);
        EXPECT_LT(one.minimum, one.maximum);
        EXPECT_DOUBLE_EQ(one.average, one.total / 3);
    }
    EXPECT_LE(all.at("inner").total, all.at("outer").total);
    std::uint64_t next = 1;
    double seconds[2];
    ASSERT_EQ(profiler.readFrames(next, seconds, 2), 2U);
    EXPECT_LE(seconds[0], all.at("frame").maximum);
    EXPECT_GE(seconds[1], all.at("frame").minimum);
    EXPECT_EQ(profiler.readFrames(next, seconds, 2), 0U);
    EXPECT_EQ(next, 3U);
    profiler.reset();
    EXPECT_EQ(profiler.readFrames(next, seconds, 2), 0U);
    EXPECT_EQ(next, 0U);
    EXPECT_TRUE(statistics(profiler).empty());
}

struct StartedProfiler : testing::Test {
    StartedProfiler() { profiler.start(); }

    Profiler profiler;
};

TEST_F(StartedProfiler, ThreadsMayUseSeveralInTurn) {
    Profiler other;
    other.start();
    for (int i = 0; i < 3; ++i) {
        const ProfiledFunc outer("outer", profiler);
        const ProfiledFunc inner("inner", other);
    }
    EXPECT_EQ(statistics(profiler).at("outer").count + statistics(other).at("inner").count, 6U);
}

TEST_F(StartedProfiler, ThreadsThatHaveEndedKeepTheirSectionsAlone) {
    constexpr std::uint64_t kThreads = 1000;
    const std::uint64_t before = qz::getSTLAllocatorCounter();
    for (std::uint64_t i = 0; i < kThreads; ++i) {
        std::thread([this] { const ProfiledFunc work("work", profiler); }).join();
    }
    EXPECT_EQ(statistics(profiler).at("work").count, kThreads);
    EXPECT_LT(qz::getSTLAllocatorCounter() - before, 100 * kThreads);
    profiler.reset();
    EXPECT_TRUE(statistics(profiler).empty());
}

TEST_F(StartedProfiler, WhatIsOpenAtAStopDoesNotCount) {
    {
        const ProfiledFunc cutOff("cut off", profiler);
        profiler.stop();
        const ProfiledFunc unseen("unseen", profiler);
        profiler.start();
        const ProfiledFunc seen("seen", profiler);
    }
    const auto all = statistics(profiler);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all.count("seen"), 1U);
}

TEST_F(StartedProfiler, TellsManyNamesApart) {
    constexpr int kNames = 1000;
    for (int i = 0; i < 3 * kNames; ++i) {
        const ProfiledFunc section(std::to_string(i % kNames).c_str(), profiler);
    }
    const auto all = statistics(profiler);
    EXPECT_EQ(all.size(), std::size_t{kNames});
    EXPECT_EQ(all.at("999").count, 3U);
}

TEST_F(StartedProfiler, DeepSectionsAndLongNamesAreBounded) {
    std::string longName(62, 'x');
    longName += "\u20AC";
    for (int i = 0; i < 100; ++i) {
        profiler.enter(i == 0 ? longName.c_str() : nullptr);
    }
    for (int i = 0; i < 101; ++i) {
        profiler.leave();
    }
    const auto all = statistics(profiler);
    EXPECT_EQ(all.at(std::string(62, 'x')).count, 1U); // no half character
    EXPECT_EQ(all.at("<NULL>").count, 63U);
}

TEST(Profiler, WritesATraceOfEachThread) {
    const std::uint64_t before = qz::getSTLAllocatorCounter();
    const std::string path = (freshDirectory() / "trace.json").string();
    {
        Profiler profiler;
        profiler.start();
        inThreads(5, [&profiler](int number) {
            QZ_thread_set_name("\"fourteen byte\u03A9"); // 16 bytes: the last character is cut off
            for (int n = 0; number > 0 && n < 600; ++n) {
                const ProfiledFunc outer("a \"name\"\n\u009B\xC3\xA9\xE9\xED\xA0\x80", profiler);
                const ProfiledFunc inner("inner", profiler);
            }
            for (int n = 0; number == 0 && n < 50; ++n) { // reads while others write
                for (const auto& [name, one] : statistics(profiler)) {
                    EXPECT_LE(one.minimum, one.average * 1.000001) << name; // consistent
                    EXPECT_GE(one.maximum, one.average * 0.999999) << name;
                }
            }
        });
        EXPECT_EQ(statistics(profiler).at("inner").count, 2400U);
        EXPECT_GT(qz::getSTLAllocatorCounter(), before);
        EXPECT_TRUE(profiler.writeTrace(path.c_str()));
        EXPECT_FALSE(profiler.writeTrace((path + "/nowhere").c_str()));
        EXPECT_EQ(profiler.dropped(), 0U);
    }
    EXPECT_EQ(qz::getSTLAllocatorCounter(), before);

    // Lines, without times, by how often they are there.
    std::map<std::string, int> lines, expected;
    const std::string trace = readFile(path);
    EXPECT_TRUE(trace.starts_with("{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n{"));
    EXPECT_TRUE(trace.ends_with("}\n]}\n"));
    const std::regex times("\"ts\":[0-9.]+,\"dur\":[0-9.]+|,$");
    std::istringstream events(trace.substr(trace.find('\n') + 1));
    for (std::string line; std::getline(events, line) && line[0] == '{';) {
        ++lines[std::regex_replace(line, times, "")];
    }
    for (const char* thread : {"1", "2", "3", "4"}) {
        const std::string tid = std::string(R"(,"pid":1,"tid":)") + thread + ",";
        expected["{\"name\":\"a "
                 "\\\"name\\\"\\u000a\\u009b\u00E9\uFFFD\uFFFD\uFFFD\uFFFD\",\"ph\":\"X\"" +
                 tid + "}"] = 600;
        expected[R"({"name":"inner","ph":"X")" + tid + "}"] = 600;
        expected[R"({"name":"thread_name","ph":"M")" + tid +
                 R"("args":{"name":"\"fourteen byte"}})"] = 1;
    }
    EXPECT_EQ(lines, expected);
}

} // namespace
