#include "Lua/State.h"

#include "Core/Log.h"
#include "Core/Watch.h"
#include "lua/script.h"

namespace {

TEST(LuaState, IsNamedAndLogsItsLife) {
    LogCapture log;
    lua_State* state = QZ_lua_open("Größe");
    lua_getfield(state, LUA_REGISTRYINDEX, "QZ.id");
    EXPECT_EQ(describe(state, -1), "Größe");
    EXPECT_EQ(lua_gettop(state), 1);
    QZ_lua_close(state);
    state = QZ_lua_open(nullptr);
    QZ_lua_openlibs(state);
    run(state, "print('x')");
    QZ_lua_close(state);
    QZ_lua_openlibs(nullptr);
    QZ_lua_close(nullptr);
    EXPECT_EQ(log.take(),
              (std::vector<LogLine>{{"Lua", 0x80, "Created state \"Größe\""},
                                    {"Lua", 0x80, "Deleted state \"Größe\""},
                                    {"Lua", 0x80, "Created state \"<NULL>\""},
                                    {"LUA", 0x80, "x"},
                                    {"Lua", 0x80, "Deleted state \"!!!missing QZ.id!!!\""}}));
}

TEST(LuaState, HasTheListedLibrariesAndNoOthers) {
    Script script;
    script.expect("local names = {} for name in pairs(package.loaded) do "
                  "if name ~= 'jit' and not name:find('^jit%.') then names[#names + 1] = name end "
                  "end table.sort(names) return table.concat(names, ' ') => "
                  "_G coroutine debug io lfs log math os package string table");
}

// A script can damage what the library keeps in the registry, and must do no harm by that.
TEST(LuaState, SurvivesAHostileRegistry) {
    LogCapture log;
    Script script;
    script.run("local r = debug.getregistry() rawset(r, 'QZ.id', nil) "
               "setmetatable(r, {__index = function() error('no') end}) print('still here')");
    QZ_lua_copyindex(script.state(), script.state(), LUA_REGISTRYINDEX);
    lua_pop(script.state(), 1);
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1], (LogLine{"LUA", 0x80, "still here"}));
    EXPECT_EQ(lines[2].module, "LUA");
}

// In a thread, because with LuaJIT the handlers around a death test would catch the error.
TEST(LuaState, LogsAnUnprotectedErrorBeforeTheProcessEnds) {
    const fs::path directory = freshDirectory();
    EXPECT_EXIT(
        {
            qz_log_start(directory.string().c_str(), "last");
            std::thread([] {
                lua_State* const state = QZ_lua_open("script");
                lua_pushnumber(state, 1);
                lua_getfield(state, -1, "width");
            }).join();
        },
        ::testing::ExitedWithCode(1), "");
    EXPECT_NE(
        readFile(directory / "last.log").find("ERROR   script: unprotected error: attempt to"),
        std::string::npos);
}

TEST(LuaState, MemoryIsWatched) {
    Script script;
    script.run("big = string.rep('x', 4000000)");
    char text[64];
    const size_t length = QZ_watch_get_one("Lua", 0, text, sizeof text);
    ASSERT_EQ(length, std::string(text).size());
    double mebibytes = 0;
    char unit[4] = "";
    ASSERT_EQ(std::sscanf(text, "Memory: %lf%3s", &mebibytes, unit), 2) << text;
    EXPECT_STREQ(unit, "MB");
    EXPECT_GE(mebibytes, 3.8);
    char little[8];
    EXPECT_EQ(QZ_watch_get_one("Lua", 0, little, sizeof little), length);
    EXPECT_STREQ(little, "Memory:");
}

// And the list of locations.
TEST(LuaState, StatesOfSeveralThreadsShareThePool) {
    static constexpr char kCode[] =
        "local t = {} for i = 1, 3000 do t[i] = {i, tostring(i)} end "
        "for i = 1, 20 do local path = thread .. i "
        "if not lfs.add_location(thread, path) then return 'lost' end "
        "local found for _, l in ipairs(lfs.locations()) do found = found or l.path == path end "
        "if not found then return 'not listed' end "
        "if not lfs.del_location(path) then return 'gone' end end "
        "local sum = 0 for i = 1, #t do sum = sum + t[i][1] + #t[i][2] end return sum";
    Lines results(6);
    inThreads(6, [&](std::size_t thread) {
        for (int round = 0; round < 5; ++round) {
            lua_State* const state = QZ_lua_open("thread");
            QZ_lua_openlibs(state);
            results[thread] =
                run(state, "local thread = 'T" + std::to_string(thread) + "_' " + kCode);
            QZ_lua_close(state);
        }
    });
    EXPECT_EQ(results, Lines(6, "4512393"));
}

} // namespace
