// Memory that runs out: at each allocation in turn, once and from then on. What must come is an
// error, or a null state, and in the end nothing is left.
#include "Lua/Loader.h"
#include "Lua/State.h"
#include "VFS/Archive.h"
#include "lua/script.h"
#include "support/log_capture.h"

#include <climits>
#include <filesystem>

namespace qz::test {

namespace {

void nothing(lua_State* /*state*/) {}

// Prepares a fresh state while memory lasts and runs `act` on it, over and over, until no
// allocation had to fail.
template<class Act>
void failEachAllocation(bool forGood, void (*prepare)(lua_State*), const Act& act) {
    for (long n = 0;; ++n) {
        FailingHeap heap{LONG_MAX, LONG_MAX};
        lua_State* const state = lua_newstate(FailingHeap::allocate, &heap);
        ASSERT_NE(state, nullptr);
        prepare(state);
        heap.failFrom = heap.allocations + n;
        heap.failUntil = forGood ? LONG_MAX : heap.failFrom + 1;
        act(state);
        const bool failed = heap.allocations > heap.failFrom;
        QZ_lua_close(state);
        ASSERT_EQ(heap.live, 0u) << n;
        if (!failed) {
            return;
        }
    }
}

class LuaMemory : public ::testing::TestWithParam<bool> {};

int openAll(lua_State* state) {
    for (lua_CFunction opener :
         {QZ_luaopen_base, QZ_luaopen_package, QZ_luaopen_io, QZ_luaopen_os, QZ_luaopen_log}) {
        lua_pushcfunction(state, opener);
        lua_call(state, 0, 0);
    }
    return 0;
}

TEST_P(LuaMemory, OpeningLibraries) {
    failEachAllocation(GetParam(), nothing, [](lua_State* state) {
        const int status = lua_cpcall(state, openAll, nullptr);
        EXPECT_TRUE(status == 0 || status == LUA_ERRMEM) << describe(state, -1);
    });
    failEachAllocation(GetParam(), nothing, [](lua_State* state) {
        QZ_lua_openlibs(state);
        EXPECT_EQ(lua_gettop(state), 0);
    });
}

TEST_P(LuaMemory, LoadingFiles) {
    const std::string path = scriptDirectory() + "/chunk.lua";
    writeFile(path, "local a = {1, 'two'} return function() return a end");
    for (const char* name : {path.c_str(), "none.lua"}) {
        failEachAllocation(GetParam(), nothing, [name](lua_State* state) {
            QZ_lua_loadfile(state, name);
            EXPECT_EQ(lua_gettop(state), 1);
        });
    }
    EXPECT_TRUE(std::filesystem::remove(path)); // nobody kept it open
}

TEST_P(LuaMemory, RunningScripts) {
    const std::string dir = scriptDirectory();
    const std::string code =
        "local path = '" + dir + "/file' " +
        "print(1, {}, 'x') log.info('%d %s', 1, 'y')\n"
        "local f = io.open(path, 'w') if f then f:write('a\\nb', 1) f:close() end\n"
        "f = io.open(path) if f then f:read(1) f:read('*l') f:read('*a') end\n"
        "for name in lfs.dir('" +
        dir +
        "') do lfs.attributes(name) end\n"
        "lfs.locations() lfs.normpath(path) os.remove(path .. 'x')\n"
        "mounted.list('') mounted.read('file') mounted.loadfile('file')\n"
        "pcall(require, 'no.module')";
    std::filesystem::create_directory("Temp");
    vfs_init();
    EXPECT_NE(vfs_mount(dir.c_str(), "/", 1), 0);
    const auto prepare = [](lua_State* state) {
        QZ_lua_openlibs(state);
        QZ_luaopen_mounted(state);
        lua_settop(state, 0);
    };
    failEachAllocation(GetParam(), prepare, [&code](lua_State* state) {
        const std::string result = run(state, code);
        EXPECT_TRUE(result.empty() || result.find("not enough memory") != std::string::npos)
            << result;
    });
    EXPECT_TRUE(std::filesystem::remove(dir + "/file"));
}

TEST_P(LuaMemory, Copying) {
    Script source;
    ASSERT_EQ(luaL_dostring(source.state(), "return {1, {x = {'text', {}}}, [{2}] = 'y'}"), 0);
    failEachAllocation(GetParam(), nothing, [&source](lua_State* state) {
        const auto copy = [](lua_State* destination) {
            auto* const from = static_cast<lua_State*>(lua_touserdata(destination, 1));
            QZ_lua_copyindex(destination, from, -1);
            return 0;
        };
        const int status = lua_cpcall(state, copy, source.state());
        EXPECT_TRUE(status == 0 || status == LUA_ERRMEM) << describe(state, -1);
        lua_settop(source.state(), 1);
    });
    lua_settop(source.state(), 0);
}

TEST_P(LuaMemory, LoadersThrow) {
    static constexpr void (*kSteps[])(Lua::Loader&) = {
        [](Lua::Loader& loader) { loader.createGlobalTable("a long name of a global table"); },
        [](Lua::Loader& loader) { loader.trackReads(); },
        [](Lua::Loader& loader) { loader.createSubtable("sub"); },
        [](Lua::Loader& loader) { loader.setString("text", std::string(1000, 'x')); },
        [](Lua::Loader& loader) { loader.setVector(1, {}); },
        [](Lua::Loader& loader) { loader.getVector(1); },
        [](Lua::Loader& loader) { loader.getUnread(); },
        [](Lua::Loader& loader) { loader.endSubtable(); },
        [](Lua::Loader& loader) { loader.beginSubtables(); },
        [](Lua::Loader& loader) {
            std::string name;
            loader.nextSubtable(name);
        },
    };
    const auto prepare = [](lua_State* state) { lua_newtable(state); };
    failEachAllocation(GetParam(), prepare, [](lua_State* state) {
        Lua::Loader loader(state);
        for (const auto step : kSteps) {
            const int top = lua_gettop(state);
            const std::string path = loader.getCurrentPath();
            try {
                step(loader);
            } catch (const Lua::LoaderException& exception) {
                EXPECT_EQ(lua_gettop(state), top) << exception.what();
                EXPECT_EQ(loader.getCurrentPath(), path);
            }
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Failing, LuaMemory, ::testing::Values(false, true),
                         [](const auto& once) { return once.param ? "forGood" : "once"; });

} // namespace

} // namespace qz::test
