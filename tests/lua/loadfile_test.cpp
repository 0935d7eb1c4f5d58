#include "Lua/State.h"

#include "lua/script.h"

namespace {

using namespace qz::test;

constexpr int kCannotOpen = 6;

struct LuaLoadfile : ::testing::Test {
    // Loads bytes as a file; the result and, for failures, the message.
    std::pair<int, std::string> load(const std::string& bytes) {
        fs::remove(path_); // some file systems flush a file that is overwritten
        writeFile(path_, bytes);
        return loadPath(path_.c_str());
    }

    std::pair<int, std::string> loadPath(const char* path) {
        const int status = QZ_lua_loadfile(script_.state(), path);
        EXPECT_EQ(lua_gettop(script_.state()), 1);
        std::string text = describe(script_.state(), -1);
        lua_settop(script_.state(), 0);
        return {status, text};
    }

    using Result = std::pair<int, std::string>;

    Script script_;
    std::string path_ = scriptDirectory() + "/chunk.lua";
};

TEST_F(LuaLoadfile, ReportsWhatItCannotOpen) {
    EXPECT_EQ(loadPath(nullptr), Result(kCannotOpen, "no filename given"));
    EXPECT_EQ(loadPath("none/x.lua"), Result(kCannotOpen, "can't open 'none/x.lua'"));
    EXPECT_EQ(loadPath("."), Result(kCannotOpen, "can't open '.'"));
    const std::string longPath(300, 'p');
    EXPECT_EQ(loadPath(longPath.c_str()), Result(kCannotOpen, "can't open '" + longPath + "'"));
}

TEST_F(LuaLoadfile, LoadsText) {
    EXPECT_EQ(load(""), Result(0, "function"));
    EXPECT_EQ(load("return 1"), Result(0, "function"));
    std::string sum = "return 0";
    for (int i = 0; i < 3000; ++i) { // many blocks
        sum += " + 1";
    }
    writeFile(path_, sum);
    EXPECT_EQ(script_.run("return dofile('" + path_ + "')"), "3000");
}

TEST_F(LuaLoadfile, NamesTheChunkByItsPath) {
    const Result result = load("\n\nx =");
    EXPECT_EQ(result, Result(LUA_ERRSYNTAX,
                             "[string \"" + path_ + "\"]:3: unexpected symbol near '<eof>'"));
    EXPECT_EQ(load("#!shebang").first, LUA_ERRSYNTAX);
}

std::string precompiled(Script& script) {
    return script.run(
        "return string.dump(function(a, ...)\n"
        "    local t = {1, 2, x = 'text', [a or 'k'] = 5.5}\n"
        "    local function f(n, ...) return n < 2 and 1 or f(n - 1, ...) * n end\n"
        "    for k, v in pairs(t) do t.x = tostring(k) .. tostring(v) .. f(5, ...) end\n"
        "    while #t > 0 do t[#t] = nil end\n"
        "    return function() t = not t return -#tostring(a) end\n"
        "end)");
}

#ifdef LUAJIT_VERSION

TEST_F(LuaLoadfile, RefusesPrecompiledChunks) {
    const std::string chunk = precompiled(script_);
    EXPECT_EQ(load(chunk).first, LUA_ERRSYNTAX);
}

#else

TEST_F(LuaLoadfile, LoadsPrecompiledChunks) {
    EXPECT_EQ(load(precompiled(script_)), Result(0, "function"));
}

// A truncated chunk is an error. A chunk with flipped bits is an error, or by chance still valid.
TEST_F(LuaLoadfile, DamagedPrecompiledChunks) {
    const std::string chunk = precompiled(script_);
    for (size_t length = 1; length < chunk.size(); ++length) {
        EXPECT_EQ(load(chunk.substr(0, length)).first, LUA_ERRSYNTAX) << length;
    }
    int errors = 0;
    for (size_t i = 0; i < chunk.size(); ++i) {
        std::string damaged = chunk;
        damaged[i] = static_cast<char>(damaged[i] ^ (1 << (i % 8)));
        const int status = load(damaged).first;
        EXPECT_TRUE(status == 0 || status == LUA_ERRSYNTAX || status == LUA_ERRMEM) << i;
        errors += status != 0 ? 1 : 0;
    }
    EXPECT_GT(errors, 0);
}

#endif

} // namespace
