// A host that takes its user's locale, after the library has been loaded.
#include "Common/Profiler.h"
#include "Config/ConfigParser.h"
#include "Core/Watch.h"
#include "Globals.h"
#include "Util/ConsoleArgs.h"
#include "Util/FPS_Controller.h"

#include "support/comma_locale.h"
#include "support/test.h"

namespace {

TEST(Locale, ChangesNoNumbers) {
    const fs::path directory = freshDirectory();
    const CommaLocale locale(directory);
    if (!locale.isThere()) {
        GTEST_SKIP() << locale.reason();
    }
    char text[100] = "";
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    ASSERT_STREQ(text, "1,5");

    LogCapture log;
    for (const char* watch : {"Main pool", "Lua", "STL allocator"}) {
        QZ_watch_get_one(watch, 0, text, sizeof text);
        EXPECT_NE(std::string(text).find('.'), std::string::npos) << text;
    }
    globalFpsController->StartFrame();
    globalFpsController->PrintStats();
    for (const std::string& line : log.messages()) {
        EXPECT_EQ(line.find(','), std::string::npos) << line;
        EXPECT_NE(line.find('.'), std::string::npos) << line;
    }

    Common::Profiler profiler;
    profiler.start();
    { const Common::ProfiledFunc timed("timed", profiler); }
    const fs::path trace = directory / "trace.json";
    ASSERT_TRUE(profiler.writeTrace(trace.string().c_str()));
    const std::string events = readFile(trace);
    const std::size_t time = events.find("\"ts\":");
    ASSERT_NE(time, std::string::npos) << events;
    EXPECT_EQ(events.find_first_not_of("0123456789", time + 5), events.find('.', time)) << events;

    ConfigParser parser;
    const fs::path file = directory / "settings.cfg";
    ASSERT_TRUE(parser.parse("a = 2.25;", 0));
    EXPECT_EQ(parser.find("a").getDouble(), 2.25);
    EXPECT_TRUE(parser.save(file.string()));
    EXPECT_EQ(readFile(file), "a = 2.25;\r\n");

    const char* const arguments[] = {"program", "-x", "2.25"};
    double x = 0;
    qz::ConsoleArgs(3, arguments).getOptionalDouble("-x", x);
    EXPECT_EQ(x, 2.25);
}

} // namespace
