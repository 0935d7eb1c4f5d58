#include "lua/script.h"

namespace {

using namespace qz::test;

TEST(LuaPackage, RequiresModulesFromTheVfs) {
    Script script;
    const std::string dir = scriptDirectory();
    fs::create_directories(dir + "/lib/a");
    writeFile(dir + "/lib/a/b.lua", "return {name = ..., count = (count or 0) + 1}");
    script.run("package.path = '" + dir + "/?.lua;;" + dir + "/lib/?.lua'");
    EXPECT_EQ(script.run("return require('a.b').name, require('a.b') == require('a.b')"),
              "a.b|true");
}

TEST(LuaPackage, ListsEveryCandidate) {
    Script script;
    script.run("package.path, package.cpath = '?.lua;;lib/?.lua;?/?', ''");
    EXPECT_EQ(script.run("return package.loaders[2]('a.b')"), "\n\tno file 'a\\b.lua'"
                                                              "\n\tno file 'lib/a\\b.lua'"
                                                              "\n\tno file 'a\\b/a\\b'");
    EXPECT_NE(script.run("require('a.b')").find("\n\tno file 'lib/a\\b.lua'\n"), std::string::npos);
    EXPECT_EQ(script.run("package.path = '' return package.loaders[2]('a')"), "");
}

TEST(LuaPackage, ReportsWhatCannotBeLoaded) {
    Script script;
    const std::string dir = scriptDirectory();
    writeFile(dir + "/bad.lua", "x = = 1");
    script.run("package.path = '" + dir + "/?.lua'");
    EXPECT_EQ(script.run("require('bad')"), "error: error loading module 'bad' from file '" + dir +
                                                "/bad.lua':\n\t[string \"" + dir +
                                                "/bad.lua\"]:1: unexpected symbol near '='");
    EXPECT_EQ(script.run("package.path = nil require('x')"),
              "error: 'package.path' must be a string");
    EXPECT_EQ(script.run("package.preload.p = function() return 'pre' end return require('p')"),
              "pre");
}

} // namespace
