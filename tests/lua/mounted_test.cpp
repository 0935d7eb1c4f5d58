// Mounted files from Lua.
#include "Lua/Loader.h"
#include "Lua/State.h"
#include "VFS/Archive.h"
#include "lua/script.h"

namespace {

struct LuaMounted : ScriptInDirectory {
    LuaMounted() {
        fs::create_directory("Temp");
        vfs_init();
        writeFile("files/units.lua", "units = {tank = {speed = 2.5}} return 'ran'");
        writeFile("files/zero", "\0x"s);
        writeFile("files/wrong.lua", "x =");
        fs::create_directory("files/empty");
        EXPECT_NE(vfs_mount("files", "/data", 1), 0);
    }
    ~LuaMounted() override { vfs_deinit(); }
};

TEST_F(LuaMounted, ScriptsReadItThroughALibraryOfItsOwn) {
    script_.expect("return mounted => nil"); // only if the host opens it
    QZ_luaopen_mounted(script_.state());
    lua_settop(script_.state(), 0);
    LogCapture log;
    script_.expect(
        "return #mounted.read('data/zero') => 2", "return mounted.read('data/none') => ",
        "return mounted.read('units.lua') => ", "return mounted.kind('data/zero') => file|2",
        "return mounted.kind('/data') => directory", "return mounted.kind('../data') => ",
        "return table.concat(mounted.list('data'), ' ') => empty units.lua wrong.lua zero",
        "return #mounted.list('data/empty') => 0", "return mounted.list('data/zero') => ",
        "return mounted.loadfile('data/units.lua')() => ran",
        "return mounted.loadfile('data/none.lua') => nil|can't open 'data/none.lua'",
        "return mounted.loadfile('data/wrong.lua') => "
        "nil|[string \"data/wrong.lua\"]:1: unexpected symbol near '<eof>'",
        "table.insert(package.loaders, 2, function(name)\n"
        "    local chunk, message = mounted.loadfile(name:gsub('%.', '/') .. '.lua')\n"
        "    return chunk or '\\n\\t' .. message\n"
        "end) return require('data.units') => ran",
        "return io.open('data/units.lua') => nil|can't open \"data/units.lua\" for 'r'");
    EXPECT_TRUE(log.take().empty());
    vfs_deinit();
    script_.expect("return mounted.read('x') => nil|can't read \"x\"",
                   "return mounted.kind('x') => nil|can't look for \"x\"",
                   "return mounted.list('x') => nil|can't list \"x\"",
                   "return mounted.loadfile('x') => nil|can't read 'x'");
    EXPECT_EQ(log.take().size(), 4U);
}

TEST_F(LuaMounted, LoadersReadItByACallOfItsOwn) {
    Lua::Loader loader;
    EXPECT_THROW(loader.load("data/units.lua", "units"), Lua::LoaderException);
    loader.loadMounted("data/units.lua", "units");
    EXPECT_EQ(loader.getRootDir(), "data/");
    loader.beginSubtable("tank");
    EXPECT_EQ(loader.getDouble("speed"), 2.5);
    EXPECT_EQ(QZ_lua_loadmounted(loader.getLuaState(), nullptr), 6);
#ifndef LUAJIT_VERSION
    std::string tooMany = "return {";
    for (int constant = 0; constant < 1 << 18; ++constant) {
        tooMany += std::to_string(constant) + ",";
    }
    writeFile("files/many.lua", tooMany + "}");
    EXPECT_EQ(QZ_lua_loadmounted(loader.getLuaState(), "data/many.lua"), 6);
    EXPECT_EQ(QZ_lua_loadfile(loader.getLuaState(), "files/many.lua"), 6);
#endif
}

} // namespace
