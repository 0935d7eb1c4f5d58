#include "VFS/File.h"
#include "VFS/Locations.h"
#include "lua/script.h"

namespace {

using namespace qz::test;

struct LuaLfs : ScriptInDirectory {};

TEST_F(LuaLfs, SaysWhichArgumentIsMissing) {
    const std::pair<std::string, std::string> cases[] = {
        {"lfs.attributes()", "bad argument #1 to 'attributes' (filepath is required)"},
        {"lfs.mkdir()", "bad argument #1 to 'mkdir' (path is required)"},
        {"lfs.rmdir()", "bad argument #1 to 'rmdir' (path is required)"},
        {"os.remove()", "bad argument #1 to 'remove' (path is required)"},
        {"lfs.dir()", "bad argument #1 to 'dir' (path is required)"},
        {"lfs.dir(dir)(5)", "bad argument #1 to '?' (qz_lua_vfs:lfs_dir_walk)"},
        {"select(2, lfs.dir(dir)).close(1)",
         "bad argument #1 to 'close' (qz_lua_vfs:lfs_dir_close)"},
        {"lfs.chdir(dir)", "can't chdir on VFS"},
        {"lfs.add_location('a')", "lfs.add_location(name, path)"},
        {"lfs.del_location()", "bad argument #1 to 'del_location' (lfs.del_location(name))"},
        {"lfs.normpath()", "bad argument #1 to 'normpath' (lfs.normpath(path))"},
    };
    for (const auto& [code, message] : cases) {
        EXPECT_EQ(run(code), "error: " + message);
    }
}

TEST_F(LuaLfs, TellsAttributes) {
    writeFile(dir_ + "/file", "x");
    EXPECT_EQ(
        run("local a = lfs.attributes(dir .. '/file') "
            "return a.mode, a.modification == lfs.attributes(dir .. '/file', 'modification'), "
            "math.abs(a.modification - os.time()) < 1000"),
        "file|true|true");
    EXPECT_EQ(run("return lfs.attributes(dir, 'mode')"), "directory");
    EXPECT_EQ(
        run("return select('#', lfs.attributes(dir .. '/none')), "
            "select('#', lfs.attributes(dir .. '/none', 'mode')), "
            "select('#', lfs.attributes(dir, 'size')), select('#', lfs.attributes('missing', {}))"),
        "0|0|0|0");
}

TEST_F(LuaLfs, MakesAndRemovesDirectories) {
    EXPECT_EQ(run("local d = dir .. '/a/b' return lfs.mkdir(d), lfs.mkdir(d)"),
              "true|nil|can't create directory \"" + dir_ + "/a/b\"");
    EXPECT_EQ(run("return lfs.rmdir(dir .. '/a')"),
              "nil|can't delete directory \"" + dir_ + "/a\"");
    EXPECT_EQ(run("return lfs.rmdir(dir .. '/a/b'), lfs.rmdir(dir .. '/a')"), "true|true");
}

TEST_F(LuaLfs, OsRemovesThroughTheVfsAndRenamesNothing) {
    writeFile(dir_ + "/file", "x");
    EXPECT_EQ(run("return os.remove(dir .. '/file'), os.remove(dir .. '/file')"),
              "true|nil|deleting " + dir_ + "/file failed");
    EXPECT_EQ(run("return os.rename('a', 'b')"), "nil|os.rename() is not supported on VFS");
    EXPECT_EQ(run("return type(os.time()), type(os.getenv)"), "number|function");
}

TEST_F(LuaLfs, WalksDirectories) {
    writeFile(dir_ + "/one", "");
    writeFile(dir_ + "/two", "");
    constexpr char kSorted[] = "table.sort(names) return table.concat(names, ' ')";
    EXPECT_EQ(
        run(std::string("local names = {} for n in lfs.dir(dir) do names[#names + 1] = n end ") +
            kSorted),
        ". .. one two");
    EXPECT_EQ(run(std::string("local names, _, d = {}, lfs.dir(dir) assert(d.n == 4 and not d.i) "
                              "for i = 1, 4 do names[i] = d:next() end "
                              "assert(d.i == 4 and d:next() == nil) ") +
                  kSorted),
              ". .. one two");
    EXPECT_EQ(run("local step = lfs.dir(dir) local n = 0 while step() do n = n + 1 end return n"),
              "4");
    EXPECT_EQ(run("local _, d = lfs.dir(dir .. '/none') return d.n, d:next()"), "nil|nil");
}

TEST_F(LuaLfs, ClosesDirectories) {
    writeFile(dir_ + "/one", "");
    EXPECT_EQ(run("local _, d = lfs.dir(dir) d[2] = nil d[-1] = 'mine' d:close() "
                  "local left = 0 for _ in pairs(d) do left = left + 1 end return left, d[-1]"),
              "1|mine");
    EXPECT_EQ(run("local step, d = lfs.dir(dir) step() local close = d.close "
                  "d:close() close(d) return next(d)"),
              "nil");
    EXPECT_EQ(run("local _, d = lfs.dir(dir) d.n = 1e300 d.i = 1e300 "
                  "return d:next(), d:close(), next(d)"),
              "nil|nil|nil");
}

TEST_F(LuaLfs, KnowsTheStandardDirectories) {
    EXPECT_EQ(run("return lfs.currentdir(), lfs.writedir(), lfs.tempdir()"),
              std::string(VFS_get_basedir()) + "|" + VFS_get_writedir() + "|" + VFS_get_tempdir());
}

TEST_F(LuaLfs, ManagesLocations) {
    EXPECT_EQ(run("return lfs.add_location('Saves', 'x:\\\\saves'), "
                  "lfs.add_location('Other', 'X:\\\\SAVES')"),
              "true|false");
    EXPECT_EQ(run("local l = lfs.locations() return l.n == #l, l[1].name, l[1].path"),
              "true|Saves|x:\\saves");
    EXPECT_EQ(run("return lfs.del_location('Saves'), lfs.del_location('x:\\\\saves')"),
              "false|true");
}

TEST_F(LuaLfs, NormalisesPaths) {
    EXPECT_EQ(run("return lfs.normpath('a//b/')"), "a\\b\\");
    EXPECT_EQ(
        run("return #lfs.normpath(('x'):rep(255)), select('#', lfs.normpath(('x'):rep(256)))"),
        "255|0");
}

// The list may change while it is read: the garbage collector runs finalisers of scripts.
TEST_F(LuaLfs, SurvivesFinalisersThatChangeTheLocations) {
    EXPECT_EQ(run("for i = 1, 300 do lfs.add_location('n' .. i, 'p' .. i) end "
                  "collectgarbage('setpause', 1) collectgarbage('setstepmul', 100000) "
                  "do local p = newproxy(true) getmetatable(p).__gc = function() "
                  "for i = 1, 300 do lfs.del_location('p' .. i) end end end "
                  "local list = lfs.locations() "
                  "return #list == list.n"),
              "true");
}

TEST_F(LuaLfs, AListingThatIsOverTakesNoMoreEntries) {
    EXPECT_EQ(run("local kept "
                  "debug.sethook(function() "
                  "local f = debug.getinfo(2, 'f').func "
                  "if debug.getinfo(f, 'u').nups == 2 then kept = kept or f end end, 'c') "
                  "lfs.dir(dir) debug.sethook() "
                  "if kept then pcall(kept) end "
                  "return kept ~= nil"),
              "true");
}

} // namespace
