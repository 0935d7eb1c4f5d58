#include "Lua/State.h"

#include "lua/script.h"

namespace {

struct LuaLoadfile : ScriptInDirectory {
    // The result of loading bytes as a file; with the message, if it fails.
    std::string load(const std::string& bytes) {
        fs::remove("chunk.lua"); // some file systems flush a file that is overwritten
        writeFile("chunk.lua", bytes);
        return loadPath("chunk.lua");
    }

    std::string loadPath(const char* path) {
        const int status = QZ_lua_loadfile(script_.state(), path);
        EXPECT_EQ(lua_gettop(script_.state()), 1);
        const std::string text = describe(script_.state(), -1);
        lua_settop(script_.state(), 0);
        return std::to_string(status) + " " + text;
    }

    std::string precompiled() {
        return script_.run(
            "return string.dump(function(a, ...)\n"
            "    local t = {1, 2, x = 'text', [a or 'k'] = 5.5}\n"
            "    local function f(n, ...) return n < 2 and 1 or f(n - 1, ...) * n end\n"
            "    for k, v in pairs(t) do t.x = tostring(k) .. tostring(v) .. f(5, ...) end\n"
            "    while #t > 0 do t[#t] = nil end\n"
            "    return function() t = not t return -#tostring(a) end\n"
            "end)");
    }
};

TEST_F(LuaLoadfile, ReportsWhatItCannotOpen) {
    EXPECT_EQ(loadPath(nullptr), "6 no filename given");
    const std::string longPath(300, 'p');
    for (const std::string& path : {"none/x.lua"s, "."s, longPath}) {
        EXPECT_EQ(loadPath(path.c_str()), "6 can't open '" + path + "'");
    }
}

TEST_F(LuaLoadfile, LoadsText) {
    EXPECT_EQ(load(""), "0 function");
    EXPECT_EQ(load("return 1"), "0 function");
    EXPECT_EQ(load("\n\nx ="), "3 [string \"chunk.lua\"]:3: unexpected symbol near '<eof>'");
    EXPECT_EQ(load("#!shebang")[0], '3');
    writeFile("chunk.lua", "return 0" + repeated(" + 1", 3000)); // many blocks
    EXPECT_EQ(script_.run("return dofile('chunk.lua')"), "3000");
}

#ifdef LUAJIT_VERSION

TEST_F(LuaLoadfile, RefusesPrecompiledChunks) {
    EXPECT_EQ(load(precompiled())[0], '3');
}

#else

// The fuzz target changes their bytes.
TEST_F(LuaLoadfile, LoadsPrecompiledChunksAndRefusesCutOnes) {
    const std::string chunk = precompiled();
    EXPECT_EQ(load(chunk), "0 function");
    for (size_t length = 1; length < chunk.size(); ++length) {
        EXPECT_EQ(load(chunk.substr(0, length))[0], '3') << length;
    }
    // Two nested functions, each of which claims to have five million others.
    const std::string claims = std::string(28, '\0') + std::string("\0\0\x50\0", 4);
    EXPECT_EQ(load(chunk.substr(0, 12) + claims + claims), "4 not enough memory");
}

#endif

} // namespace
