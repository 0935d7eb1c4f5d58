#include "Lua/CheckedLoader.h"

#include "lua/stack_shape.h"

namespace {

struct LuaCheckedLoader : ShapedScript {
    // The message of the exception, or none.
    std::string load(const std::string& name, const std::string& table = {}) {
        return still([&] { return messageOf([&] { loader_.loadFile(state_, name, table); }); });
    }

    // Loads a file without an error, and expects the results of code.
    void expect(const std::string& name, const std::string& table, const std::string& results) {
        EXPECT_EQ(load(name, table), "") << results;
        script_.expect(results);
    }

    Lua::CheckedLoader& loader_ = Lua::CheckedLoader::instance();
};

TEST_F(LuaCheckedLoader, RunsIntoATable) {
    writeFile("data.lua", "a = 1 seen = seen or print return 5");
    expect("data.lua", "data", "old = data old.seen = 7 return a, data.a, data.seen => nil|1|7");
    expect("data.lua", "data", "return data == old, data.seen => true|7");
    script_.run("data = 5");
    expect("data.lua", "data", "return data.a, data.seen => 1|nil");
    expect("data.lua", "", "return a, seen == print => 1|true");
}

TEST_F(LuaCheckedLoader, PrefersTheCompiledFile) {
    for (const std::string name : {"x.lua", "x.luac", "y.txt", "y.txtc", "z.luac"}) {
        writeFile(name, "from = '" + name + "'");
    }
    expect("x.lua", "", "return from => x.luac");
    writeFile("x.luac", "from = = 'damaged'");
    expect("x.lua", "", "return from => x.lua");
    expect("y.txt", "", "return from => y.txt");
    expect("z.lua", "", "return from => z.luac");
}

TEST_F(LuaCheckedLoader, ReportsFailures) {
    LogCapture log;
    writeFile("fails.lua", "error('broken', 0)");
    const std::string failed = "Can't execute Lua file fails.lua - ";
    EXPECT_EQ(load(""), "Can't do file, name is empty!");
    EXPECT_EQ(load("none.lua"), "Can't execute Lua file none.lua - can't open 'none.lua'");
    EXPECT_EQ(load("fails.lua", "t"),
              failed + "[string \"fails.lua\"]:1: attempt to call global 'error' (a nil value)");
    EXPECT_EQ(load("fails.lua"), failed + "broken");
    EXPECT_THROW(loader_.loadFile(nullptr, "fails.lua"), Lua::CheckedLoaderException);
    EXPECT_THROW(loader_.addCheckedFile("x", 1), Lua::CheckedLoaderException);
    log.take();
    EXPECT_FALSE(still([&] { return loader_.tryLoadFile(state_, "fails.lua", ""); }));
    EXPECT_EQ(log.take(), (std::vector<LogLine>{{"QZCORE", 0x02, failed + "broken"}}));
    writeFile("fails.lua", "ok = 1");
    EXPECT_TRUE(loader_.tryLoadFile(state_, "fails.lua"));
    script_.run("setmetatable(_G, {__index = function() error('no', 0) end})");
    EXPECT_EQ(load("fails.lua", "new"), failed + "no");
}

} // namespace
