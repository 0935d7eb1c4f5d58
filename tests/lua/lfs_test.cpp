#include "Lua/State.h"
#include "VFS/File.h"
#include "VFS/Locations.h"
#include "lua/script.h"

namespace {

struct LuaLfs : ScriptInDirectory {};

TEST_F(LuaLfs, SaysWhichArgumentIsMissing) {
    const std::string bad = " => error: bad argument #1 to ";
    script_.expect("lfs.attributes()" + bad + "'attributes' (filepath is required)",
                   "lfs.mkdir()" + bad + "'mkdir' (path is required)",
                   "lfs.rmdir()" + bad + "'rmdir' (path is required)",
                   "os.remove()" + bad + "'remove' (path is required)",
                   "lfs.dir()" + bad + "'dir' (path is required)",
                   "lfs.dir('.')(5)" + bad + "'?' (qz_lua_vfs:lfs_dir_walk)",
                   "select(2, lfs.dir('.')).close(1)" + bad + "'close' (qz_lua_vfs:lfs_dir_close)",
                   "lfs.chdir('.') => error: can't chdir on VFS",
                   "lfs.add_location('a') => error: lfs.add_location(name, path)",
                   "lfs.del_location()" + bad + "'del_location' (lfs.del_location(name))",
                   "lfs.normpath()" + bad + "'normpath' (lfs.normpath(path))");
}

TEST_F(LuaLfs, TellsAttributes) {
    writeFile("file", "x");
    script_.expect(
        "local a = lfs.attributes('file') "
        "return a.mode, a.modification == lfs.attributes('file', 'modification'), "
        "math.abs(a.modification - os.time()) < 1000 => file|true|true",
        "return lfs.attributes('.', 'mode') => directory",
        "return select('#', lfs.attributes('none')), select('#', lfs.attributes('none', 'mode')), "
        "select('#', lfs.attributes('.', 'size')), select('#', lfs.attributes('none', {})) => "
        "0|0|0|0");
}

TEST_F(LuaLfs, MakesAndRemoves) {
    writeFile("file", "x");
    script_.expect("return lfs.mkdir('a/b'), lfs.mkdir('a/b') => "
                   "true|nil|can't create directory \"a/b\"",
                   "return lfs.rmdir('a') => nil|can't delete directory \"a\"",
                   "return lfs.rmdir('a/b'), lfs.rmdir('a') => true|true",
                   "return os.remove('file'), os.remove('file') => true|nil|deleting file failed",
                   "return os.rename('a', 'b') => nil|os.rename() is not supported on VFS",
                   "return type(os.time()), type(os.getenv) => number|function");
}

TEST_F(LuaLfs, WalksDirectories) {
    writeFile("one", "");
    writeFile("two", "");
    script_.expect("names = {} for n in lfs.dir('.') do names[#names + 1] = n end "
                   "table.sort(names) return table.concat(names, ' ') => . .. one two",
                   "names, _, d = {}, lfs.dir('.') assert(d.n == 4 and not d.i) "
                   "for i = 1, 4 do names[i] = d:next() end return d.i, d:next() => 4|nil",
                   "table.sort(names) return table.concat(names, ' ') => . .. one two",
                   "step = lfs.dir('.') n = 0 while step() do n = n + 1 end return n => 4",
                   "_, d = lfs.dir('none') return d.n, d:next() => nil|nil");
}

TEST_F(LuaLfs, ClosesDirectories) {
    writeFile("one", "");
    script_.expect("local _, d = lfs.dir('.') d[2] = nil d[-1] = 'mine' d:close() "
                   "local left = 0 for _ in pairs(d) do left = left + 1 end return left, d[-1] => "
                   "1|mine",
                   "local step, d = lfs.dir('.') step() local close = d.close "
                   "d:close() close(d) return next(d) => nil",
                   "local _, d = lfs.dir('.') d.n = 1e300 d.i = 1e300 "
                   "return d:next(), d:close(), next(d) => nil|nil|nil");
}

TEST_F(LuaLfs, ManagesLocationsAndNormalisesPaths) {
    script_.expect(
        "return lfs.currentdir(), lfs.writedir(), lfs.tempdir() => "s + VFS_get_basedir() + "|" +
            VFS_get_writedir() + "|" + VFS_get_tempdir(),
        "return lfs.add_location('Saves', 'x:\\\\saves') => true",
        "return lfs.add_location('Other', 'X:\\\\SAVES') => false",
        "local l = lfs.locations() return l.n == #l, l[1].name, l[1].path => true|Saves|x:\\saves",
        "return lfs.del_location('Saves'), lfs.del_location('x:\\\\saves') => false|true",
        "return lfs.normpath('a//b/') => a\\b\\",
        "return #lfs.normpath(('x'):rep(255)), select('#', lfs.normpath(('x'):rep(256))) => 255|0");
}

// The list may change while it is read: the garbage collector runs finalisers of scripts.
TEST_F(LuaLfs, SurvivesFinalisersThatChangeTheLocations) {
    script_.expect("for i = 1, 300 do lfs.add_location('n' .. i, 'p' .. i) end "
                   "collectgarbage('setpause', 1) collectgarbage('setstepmul', 100000) "
                   "do local p = newproxy(true) getmetatable(p).__gc = function() "
                   "for i = 1, 300 do lfs.del_location('p' .. i) end end end "
                   "local list = lfs.locations() return #list == list.n => true");
}

TEST_F(LuaLfs, AListingThatIsOverTakesNoMoreEntries) {
    script_.expect("local kept debug.sethook(function() local f = debug.getinfo(2, 'f').func "
                   "if debug.getinfo(f, 'u').nups == 2 then kept = kept or f end end, 'c') "
                   "lfs.dir('.') debug.sethook() if kept then pcall(kept) end "
                   "return kept ~= nil => true");
}

} // namespace
