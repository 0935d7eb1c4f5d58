#include "Lua/CheckedLoader.h"

#include "lua/script.h"
#include "lua/stack_shape.h"
#include "support/message_of.h"

namespace {

using namespace qz::test;

struct LuaCheckedLoader : ::testing::Test {
    std::string path(const std::string& name) const { return directory_ + "/" + name; }

    // The message of the exception, or none.
    std::string load(const std::string& name, const std::string& table = {}) {
        return shaped(script_.state(), 0, "", [&] {
            return messageOf([&] { loader_.loadFile(script_.state(), name, table); });
        });
    }

    Script script_;
    std::string directory_ = scriptDirectory();
    Lua::CheckedLoader& loader_ = Lua::CheckedLoader::instance();
};

TEST_F(LuaCheckedLoader, RunsIntoATable) {
    writeFile(path("data.lua"), "a = 1 seen = seen or print return 5");
    EXPECT_EQ(load(path("data.lua"), "data"), "");
    EXPECT_EQ(script_.run("old = data old.seen = 7 return a, data.a, data.seen"), "nil|1|7");
    EXPECT_EQ(load(path("data.lua"), "data"), "");
    EXPECT_EQ(script_.run("return data == old, data.seen"), "true|7");
    EXPECT_EQ(script_.run("data = 5"), "");
    EXPECT_EQ(load(path("data.lua"), "data"), "");
    EXPECT_EQ(script_.run("return data.a, data.seen"), "1|nil");
    EXPECT_EQ(load(path("data.lua")), "");
    EXPECT_EQ(script_.run("return a, seen == print"), "1|true");
}

TEST_F(LuaCheckedLoader, PrefersTheCompiledFile) {
    writeFile(path("x.lua"), "from = 'source'");
    writeFile(path("x.luac"), "from = 'compiled'");
    writeFile(path("y.txt"), "from = 'text'");
    writeFile(path("y.txtc"), "from = 'other'");
    EXPECT_EQ(load(path("x.lua")), "");
    EXPECT_EQ(script_.run("return from"), "compiled");
    writeFile(path("x.luac"), "from = = 'damaged'");
    EXPECT_EQ(load(path("x.lua")), "");
    EXPECT_EQ(script_.run("return from"), "source");
    EXPECT_EQ(load(path("y.txt")), "");
    EXPECT_EQ(script_.run("return from"), "text");
    writeFile(path("z.luac"), "from = 'compiled only'");
    EXPECT_EQ(load(path("z.lua")), "");
    EXPECT_EQ(script_.run("return from"), "compiled only");
}

TEST_F(LuaCheckedLoader, ReportsFailures) {
    LogCapture log;
    writeFile(path("fails.lua"), "error('broken', 0)");
    const std::string fails = path("fails.lua");
    EXPECT_EQ(load(""), "Can't do file, name is empty!");
    EXPECT_EQ(load("none.lua"), "Can't execute Lua file none.lua - can't open 'none.lua'");
    EXPECT_EQ(load(fails, "t"), "Can't execute Lua file " + fails + " - [string \"" + fails +
                                    "\"]:1: attempt to call global 'error' (a nil value)");
    EXPECT_EQ(load(fails), "Can't execute Lua file " + fails + " - broken");
    EXPECT_THROW(loader_.loadFile(nullptr, fails), Lua::CheckedLoaderException);
    EXPECT_THROW(loader_.addCheckedFile("x", 1), Lua::CheckedLoaderException);
    log.take();
    EXPECT_FALSE(shaped(script_.state(), 0, "",
                        [&] { return loader_.tryLoadFile(script_.state(), fails, ""); }));
    EXPECT_EQ(log.take(), (std::vector<LogLine>{
                              {"QZCORE", 0x02, "Can't execute Lua file " + fails + " - broken"}}));
    writeFile(fails, "ok = 1");
    EXPECT_TRUE(loader_.tryLoadFile(script_.state(), fails));
    script_.run("setmetatable(_G, {__index = function() error('no', 0) end})");
    EXPECT_EQ(load(fails, "new"), "Can't execute Lua file " + fails + " - no");
}

} // namespace
