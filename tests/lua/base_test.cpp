#include "lua/script.h"
#include "support/log_capture.h"

namespace qz::test {

namespace {

TEST(LuaBase, PrintLogsAtDebugUnderTheStatesName) {
    LogCapture log;
    Script script("Mission");
    log.take();
    script.run("print(1, nil, 'x')");
    script.run("print()");
    script.run("print('100%d %s')");
    script.run("tostring = function(v) return '<' .. type(v) .. '>' end print(1, {})");
    EXPECT_EQ(log.take(), (std::vector<LogLine>{{"Mission", 0x80, "1\tnil\tx"},
                                                {"Mission", 0x80, ""},
                                                {"Mission", 0x80, "100%d %s"},
                                                {"Mission", 0x80, "<number>\t<table>"}}));
    EXPECT_EQ(script.run("tostring = function() end print(1)"),
              "error: 'tostring' must return a string to 'print'");
}

TEST(LuaBase, PrintTakesAsManyValuesAsTheStackHolds) {
    LogCapture log;
    Script script;
    log.take();
    EXPECT_EQ(script.run("local t = {} for i = 1, 5000 do t[i] = i end print(unpack(t))"), "");
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].message.substr(0, 8), "1\t2\t3\t4\t");
}

TEST(LuaBase, LoadsFilesOfTheVfs) {
    Script script;
    const std::string dir = scriptDirectory();
    writeFile(dir + "/two.lua", "return 'a', ...");
    writeFile(dir + "/bad.lua", "x = = 1");
    writeFile(dir + "/fails.lua", "\nerror('out')");
    const std::string setDir = "local dir = '" + dir + "' ";
    EXPECT_EQ(script.run(setDir + "return loadfile(dir .. '/two.lua')(7, 8)"), "a|7|8");
    EXPECT_EQ(script.run(setDir + "return 'first', dofile(dir .. '\\\\two.lua', 7)"), "first|a");
    EXPECT_EQ(script.run(setDir + "return loadfile(dir .. '/none.lua')"),
              "nil|can't open '" + dir + "/none.lua'");
    EXPECT_EQ(script.run(setDir + "return loadfile(dir .. '/bad.lua')"),
              "nil|[string \"" + dir + "/bad.lua\"]:1: unexpected symbol near '='");
    EXPECT_EQ(script.run(setDir + "return dofile(dir .. '/fails.lua')"),
              "error: [string \"" + dir + "/fails.lua\"]:2: out");
    EXPECT_EQ(script.run(setDir + "return dofile(dir .. '/none.lua')"),
              "error: can't open '" + dir + "/none.lua'");
    EXPECT_EQ(script.run("return loadfile()"), "nil|no filename given");
    EXPECT_EQ(script.run("return dofile()"), "error: no filename given");
}

} // namespace

} // namespace qz::test
