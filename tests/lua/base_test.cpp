#include "lua/script.h"

namespace {

struct LuaBase : ScriptInDirectory {
    LogCapture log_;
};

TEST_F(LuaBase, PrintLogsAtDebugUnderTheStatesName) {
    script_.run("print(1, nil, 'x') print() print('100%d %s') "
                "tostring = function(v) return '<' .. type(v) .. '>' end print(1, {})");
    EXPECT_EQ(log_.take(), (std::vector<LogLine>{{"Test", 0x80, "1\tnil\tx"},
                                                 {"Test", 0x80, ""},
                                                 {"Test", 0x80, "100%d %s"},
                                                 {"Test", 0x80, "<number>\t<table>"}}));
    script_.expect("tostring = function() return 'x' end local t = {} "
                   "for i = 1, 5000 do t[i] = i end print(unpack(t)) => ",
                   "tostring = function() end print(1) => "
                   "error: 'tostring' must return a string to 'print'");
    EXPECT_EQ(log_.messages().at(0).substr(0, 4), "x\tx\t");
}

TEST_F(LuaBase, LoadsFilesOfTheVfs) {
    writeFile("dir/two.lua", "return 'a', ...");
    writeFile("bad.lua", "x = = 1");
    writeFile("fails.lua", "\nerror('out')");
    script_.expect(
        "return loadfile('dir/two.lua')(7, 8) => a|7|8",
        "return 'first', dofile('dir\\\\two.lua', 7) => first|a",
        "return loadfile('none.lua') => nil|can't open 'none.lua'",
        "return loadfile('bad.lua') => nil|[string \"bad.lua\"]:1: unexpected symbol near '='",
        "return dofile('fails.lua') => error: [string \"fails.lua\"]:2: out",
        "return dofile('none.lua') => error: can't open 'none.lua'",
        "return loadfile() => nil|no filename given", "dofile() => error: no filename given");
}

} // namespace
