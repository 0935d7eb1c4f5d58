#include "lua/script.h"

namespace {

using namespace qz::test;

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
    EXPECT_EQ(script.run("tostring = function() return 'x' end local t = {} "
                         "for i = 1, 5000 do t[i] = i end print(unpack(t))"),
              "");
    EXPECT_EQ(log.messages().at(0).substr(0, 4), "x\tx\t");
    EXPECT_EQ(script.run("tostring = function() end print(1)"),
              "error: 'tostring' must return a string to 'print'");
}

TEST(LuaBase, LoadsFilesOfTheVfs) {
    Script script;
    const std::string dir = scriptDirectory();
    writeFile(dir + "/two.lua", "return 'a', ...");
    writeFile(dir + "/bad.lua", "x = = 1");
    writeFile(dir + "/fails.lua", "\nerror('out')");
    script.run("dir = '" + dir + "'");
    const std::pair<std::string, std::string> cases[] = {
        {"return loadfile(dir .. '/two.lua')(7, 8)", "a|7|8"},
        {"return 'first', dofile(dir .. '\\\\two.lua', 7)", "first|a"},
        {"return loadfile(dir .. '/none.lua')", "nil|can't open '" + dir + "/none.lua'"},
        {"return loadfile(dir .. '/bad.lua')",
         "nil|[string \"" + dir + "/bad.lua\"]:1: unexpected symbol near '='"},
        {"return dofile(dir .. '/fails.lua')", "error: [string \"" + dir + "/fails.lua\"]:2: out"},
        {"return dofile(dir .. '/none.lua')", "error: can't open '" + dir + "/none.lua'"},
        {"return loadfile()", "nil|no filename given"},
        {"return dofile()", "error: no filename given"},
    };
    for (const auto& [code, result] : cases) {
        EXPECT_EQ(script.run(code), result);
    }
}

} // namespace
