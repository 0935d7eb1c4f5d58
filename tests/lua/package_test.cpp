#include "lua/script.h"

namespace {

struct LuaPackage : ScriptInDirectory {};

TEST_F(LuaPackage, RequiresModulesFromTheVfs) {
    writeFile("lib/a/b.lua", "return {name = ..., count = (count or 0) + 1}");
    writeFile("bad.lua", "x = = 1");
    script_.expect("package.path = './?.lua;;lib/?.lua' => ",
                   "return require('a.b').name, require('a.b') == require('a.b') => a.b|true",
                   "require('bad') => error: error loading module 'bad' from file './bad.lua':"
                   "\n\t[string \"./bad.lua\"]:1: unexpected symbol near '='",
                   "package.path = nil require('x') => error: 'package.path' must be a string",
                   "package.preload.p = function() return 'pre' end return require('p') => pre");
}

TEST_F(LuaPackage, ListsEveryCandidate) {
    const std::string none =
        "\n\tno file 'a\\b.lua'\n\tno file 'lib/a\\b.lua'\n\tno file 'a\\b/a\\b'";
    script_.expect("package.path, package.cpath = '?.lua;;lib/?.lua;?/?', '' => ",
                   "return package.loaders[2]('a.b') => " + none);
    EXPECT_NE(script_.run("require('a.b')").find(none), std::string::npos);
    script_.expect("package.path = '' return package.loaders[2]('a') => ");
}

} // namespace
