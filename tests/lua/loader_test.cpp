#include "Lua/Loader.h"

#include "Lua/State.h"
#include "lua/stack_shape.h"

namespace {

struct LuaLoader : ShapedScript {
    // Runs code that makes the global table `root`, and enters it.
    void use(const std::string& code) {
        lua_settop(state_, 0);
        ASSERT_EQ(script_.run(code), "");
        shaped(0, "table", [&] { loader_.load("root"); });
    }

    // The message of the exception that a call throws. Checks that stack and path are as before.
    template<class Call>
    std::string failure(const Call& call) {
        const std::string path = loader_.getCurrentPath();
        const std::string message = still([&] { return messageOf(call); });
        EXPECT_EQ(loader_.getCurrentPath(), path);
        return message;
    }

    // The failures of all typed reads of a key, in the order of the interface.
    Lines failures(const Lua::Key& key) {
        return {failure([&] { loader_.getInt(key); }),
                failure([&] { loader_.getDouble(key); }),
                failure([&] { loader_.getBoolean(key); }),
                failure([&] { loader_.getString(key); }),
                failure([&] { loader_.getVector(key); }),
                failure([&] { loader_.getQuaternion(key); }),
                failure([&] { loader_.beginSubtable(key); }),
                failure([&] { loader_.beginArray(key); })};
    }

    Lua::Loader loader_{state_};
};

TEST_F(LuaLoader, ReadsTypedEntries) {
    use("root = {i = 3.000000001, d = 10.5, t = true, zero = 0, two = 2, s = 'a\\0b',"
        " v = {1, 2, 3}, q = {0.5, 0, -0.5, 1}, ['k\\0'] = 4, 'first'}");
    still([&] {
        EXPECT_EQ(loader_.getInt("i"), 3);
        EXPECT_EQ(loader_.getDouble("d"s), 10.5);
        EXPECT_TRUE(loader_.getBoolean("t") && loader_.getBoolean("two"));
        EXPECT_FALSE(loader_.getBoolean("zero"));
        EXPECT_EQ(loader_.getString("s"), "a\0b"s);
        EXPECT_EQ(loader_.getString(1), "first");
        EXPECT_EQ(loader_.getInt("k\0"s), 4);
        EXPECT_TRUE(loader_.hasEntry(1) && !loader_.hasEntry("k"));
        const Math::Vector<3, double> v = loader_.getVector("v");
        EXPECT_TRUE(v.x == 1 && v.y == 2 && v.z == 3);
        const Math::Rotation3<double> q = loader_.getQuaternion("q");
        EXPECT_TRUE(q.x == 0.5 && q.y == 0 && q.z == -0.5 && q.w == 1);
    });
}

TEST_F(LuaLoader, NamesWhatIsMissingOrHasTheWrongType) {
    use("root = {f = print, sub = {speed = 10.5, big = 2^31, almost = 2.9999999999, nan = 0/0,"
        " text = '5', v = {1, 2, 'x', 4}}}");
    const std::string none = "root.none is missing";
    EXPECT_EQ(failures("none"), Lines(8, none));
    const std::string f = "root.f is not a ";
    EXPECT_EQ(failures("f"), (Lines{f + "number", f + "number", f + "boolean", f, f + "table",
                                    f + "table", f + "table", f + "table"}));
    shaped(0, "table", [&] { loader_.beginSubtable("sub"); });
    for (const auto& [key, number] : {std::pair("speed", "10.5)"),
                                      {"big", "2147483648)"},
                                      {"almost", "2.9999999999)"},
                                      {"nan", "-"}}) {
        const std::string message = failure([&, key = key] { loader_.getInt(key); });
        EXPECT_TRUE(message.starts_with("root.sub."s + key + " is not an integer (" + number))
            << message;
    }
    EXPECT_EQ(failure([&] { loader_.getDouble("text"); }), "root.sub.text is not a number");
    EXPECT_EQ(failure([&] { loader_.getDouble("speed", 10.6, 1e6); }),
              "root.sub.speed is 10.5, not from 10.6 to 1000000");
    EXPECT_TRUE(
        failure([&] { loader_.getDouble("nan", -1e300, 1e300); }).starts_with("root.sub.nan is "));
    EXPECT_EQ(still([&] { return loader_.getDouble("speed", 10.5, 10.5); }), 10.5);
    EXPECT_EQ(failure([&] { loader_.reject("text", "is too long"); }), "root.sub.text is too long");
    EXPECT_EQ(failure([&] { loader_.getString("speed"); }), "root.sub.speed is not a ");
    EXPECT_EQ(failure([&] { loader_.getBoolean("text"); }), "root.sub.text is not a boolean");
    EXPECT_EQ(failure([&] { loader_.getVector("v"); }), "root.sub.v.3 is not a number");
    EXPECT_EQ(failure([&] { loader_.createSubtable("text"); }), "root.sub.text is not a table");
    shaped(1, "", [&] { loader_.endSubtable(); });
    EXPECT_EQ(failure([&] { loader_.load("none"); }), "No none table in config file");
    EXPECT_EQ(failure([&] { loader_.load("print"); }), "No print table in config file");
}

TEST_F(LuaLoader, FullMessagesNameFileAndEntry) {
    const auto fullFailure = [](const auto& call) {
        try {
            call();
        } catch (const Lua::LoaderException& exception) {
            return std::string(Lua::LoaderException(exception).getFullMessage());
        }
        return "no exception"s;
    };
    lua_newtable(state_); // nothing was entered yet
    EXPECT_EQ(failure([&] { loader_.getInt("x"); }), " is missing");
    EXPECT_EQ(failure([&] { loader_.beginMetatable(); }), "No metatable at ");
    still([&] { loader_.endSubtable(); });
    EXPECT_EQ(fullFailure([&] { loader_.getInt("x"); }), "x is missing");
    EXPECT_EQ(loader_.getFile(), "");
    writeFile("units.lua", "units = {speed = 1.5}");
    loader_.load("units.lua", "units");
    EXPECT_EQ(loader_.getFile(), "units.lua");
    EXPECT_EQ(fullFailure([&] { loader_.getInt("speed"); }),
              "units.lua: units.speed is not an integer (1.5)");
    EXPECT_EQ(fullFailure([&] { loader_.load("units.lua", "none"); }),
              "units.lua: No none table in config file");
    writeFile("broken.lua", "=");
    EXPECT_THROW(loader_.load("broken.lua", "units"), Lua::LoaderException);
    EXPECT_EQ(loader_.getFile(), "units.lua") << "the one that was loaded";
    writeFile("units.lua", "=");
    EXPECT_EQ(fullFailure([&] { loader_.load("units.lua", "units"); }),
              "[string \"units.lua\"]:1: unexpected symbol near '='");
}

TEST_F(LuaLoader, TellsWhatNobodyRead) {
    use("root = {sped = 1, v = {1, 2, 3, 4}, off = {x = {}}, [true] = 1, [0.5] = 2,"
        " list = {{a = 1, b = 2}, {a = 3}, n = 2}, units = {tank = {a = 1}, ship = {b = 2}}}"
        " root.units.ship.back = root");
    EXPECT_EQ(loader_.getUnread(), Lines{}) << "nothing is remembered yet";
    loader_.getInt("sped");
    still([&] { loader_.trackReads(); });
    EXPECT_TRUE(loader_.hasEntry("list") && !loader_.hasEntry("none"));
    loader_.getVector("v");
    for (loader_.beginArray("list"); loader_.nextArray();) {
        EXPECT_GT(loader_.getDouble("a"), 0);
    }
    loader_.endSubtable();
    loader_.beginSubtable("units");
    std::string name;
    for (loader_.beginSubtables(); loader_.nextSubtable(name);) {
        loader_.hasEntry("back");
    }
    loader_.endSubtable();
    EXPECT_EQ(still([&] { return loader_.getUnread(); }),
              (Lines{"root.0.5", "root.[boolean]", "root.list.1.b", "root.list.n", "root.off",
                     "root.sped", "root.units.ship.b", "root.units.tank.a", "root.v.4"}));
    loader_.trackReads();
    EXPECT_EQ(loader_.getUnread().size(), 7U) << "each entry of the root";
}

TEST_F(LuaLoader, Writes) {
    use("root = {}");
    still([&] {
        loader_.setInt("i", -5);
        loader_.setDouble(2, 0.5);
        loader_.setBoolean("b", true);
        loader_.setString("s", "x\0y"s);
        loader_.setVector("v", {1, 2, 3});
        loader_.setQuaternion("q", {1, 2, 3, 4});
    });
    shaped(0, "table", [&] { loader_.createSubtable("new"); });
    EXPECT_EQ(loader_.getCurrentPath(), "root.new");
    loader_.endSubtable();
    shaped(0, "table", [&] { loader_.createSubtable("v"); });
    EXPECT_EQ(loader_.getInt(3), 3);
    loader_.endSubtable();
    shaped(0, "table", [&] { loader_.createGlobalTable("made"); });
    EXPECT_EQ(loader_.getCurrentPath(), "made");
    loader_.setInt("x", 1);
    script_.expect("return root.i, root[2], root.b, #root.s, table.concat(root.v, ','),"
                   " table.concat(root.q, ','), root.new, made.x => "
                   "-5|0.5|true|3|1,2,3|1,2,3,4|table|1");
}

TEST_F(LuaLoader, WalksArraysToTheFirstNil) {
    use("root = {list = {{n = 1}, 'scalar', nil, 4}, empty = {}}");
    shaped(0, "table number nil", [&] { loader_.beginArray("list"); });
    EXPECT_EQ(loader_.getCurrentPath(1), "list.0");
    EXPECT_TRUE(shaped(2, "number table", [&] { return loader_.nextArray(); }));
    EXPECT_EQ(loader_.getInt("n"), 1);
    EXPECT_EQ(loader_.getCurrentPath(1), "list.1");
    EXPECT_TRUE(shaped(2, "number string", [&] { return loader_.nextArray(); }));
    EXPECT_EQ(failure([&] { loader_.getInt("len"); }), "root.list.2.len is missing");
    EXPECT_FALSE(shaped(2, "", [&] { return loader_.nextArray(); }));
    EXPECT_FALSE(still([&] { return loader_.nextArray(); })) << "over is over";
    EXPECT_EQ(loader_.getCurrentPath(), "root.list");
    shaped(1, "", [&] { loader_.endSubtable(); });
    loader_.beginArray("empty");
    EXPECT_FALSE(shaped(2, "", [&] { return loader_.nextArray(); }));
    EXPECT_EQ(loader_.getCurrentPath(2), "");
    EXPECT_EQ(loader_.getCurrentPath(-1), "");
}

TEST_F(LuaLoader, WalksSubtables) {
    use("root = {good = {a = {n = 1}, b = {n = 2}}, keys = {{}}, values = {x = 5}}");
    loader_.beginSubtable("good");
    shaped(0, "nil nil", [&] { loader_.beginSubtables(); });
    std::string name, names;
    while (shaped(2, "string table", [&] { return loader_.nextSubtable(name); })) {
        names += name + std::to_string(loader_.getInt("n"));
        EXPECT_EQ(loader_.getCurrentPath(), "root.good." + name);
        if (names.size() == 4) {
            break;
        }
    }
    EXPECT_TRUE(names == "a1b2" || names == "b2a1") << names;
    EXPECT_FALSE(shaped(2, "", [&] { return loader_.nextSubtable(name); }));
    EXPECT_EQ(loader_.getCurrentPath(), "root.good");
    for (const auto& [table, message] :
         {std::pair("keys", "Not a string key in table: root.keys"),
          {"values", "Not a subtable element in table root.values"}}) {
        lua_settop(state_, 0);
        loader_.load("root");
        loader_.beginSubtable(table);
        loader_.beginSubtables();
        EXPECT_EQ(failure([&] { loader_.nextSubtable(name); }), message);
    }
}

TEST_F(LuaLoader, EntersMetatables) {
    use("root = {}");
    EXPECT_EQ(failure([&] { loader_.beginMetatable(); }), "No metatable at root");
    shaped(0, "table", [&] { loader_.newMetatable(); });
    loader_.setString("__metatable", "hidden");
    EXPECT_EQ(loader_.getCurrentPath(), "root.METATABLE");
    shaped(1, "", [&] { loader_.endSubtable(); });
    EXPECT_EQ(script_.run("return getmetatable(root)"), "hidden");
    shaped(0, "table", [&] { loader_.beginMetatable(); });
    EXPECT_EQ(loader_.getString("__metatable"), "hidden");
    loader_.endSubtable();
    loader_.beginArray();
    EXPECT_EQ(failure([&] { loader_.newMetatable(); }), "No metatable at root.0")
        << "not of all nils";
}

TEST_F(LuaLoader, ErrorsOfMetatablesAreExceptions) {
    use("root = setmetatable({}, {__index = function(t, k) error('no ' .. k, 0) end,"
        " __newindex = function() error({}) end})");
    EXPECT_EQ(failures("x"), Lines(8, "root.x: no x"));
    EXPECT_FALSE(still([&] { return loader_.hasEntry("x"); }));
    EXPECT_EQ(failure([&] { loader_.setInt("x", 1); }), "root.x: unknown error");
    EXPECT_EQ(failure([&] { loader_.setVector(1, {}); }), "root.1: unknown error");
    EXPECT_EQ(failure([&] { loader_.createSubtable("x"); }), "root.x: no x");
    loader_.beginArray();
    EXPECT_EQ(failure([&] { loader_.nextArray(); }), "root.1: no 1");
    script_.run("setmetatable(_G, {__index = function() error('none', 0) end,"
                " __newindex = function() error('locked', 0) end})");
    EXPECT_EQ(failure([&] { loader_.load("x"); }), "x: none");
    EXPECT_EQ(failure([&] { loader_.createGlobalTable("x"); }), "locked");
}

TEST_F(LuaLoader, ATableWithinItselfEndsInAnException) {
    use("root = {} root.t = root");
    const auto descend = [&] {
        for (;;) {
            loader_.beginSubtable("t");
        }
    };
    EXPECT_THROW(descend(), Lua::LoaderException);
    EXPECT_GT(lua_gettop(state_), 1000);
    EXPECT_NE(failure([&] { loader_.beginArray(); }).find(".t.t is nested too deeply"),
              std::string::npos);
}

TEST_F(LuaLoader, LoadsFilesIntoAStateOfItsOwn) {
    writeFile("dir/units.lua", "units = require('tank')");
    writeFile("dir/tank.lua", "return {tank = {speed = 10.5}}");
    writeFile("dir/bad.lua", "units = = 1");
    writeFile("dir/fails.lua", "error('broken', 0)");
    Lua::Loader loader;
    EXPECT_EQ(loader.getLuaState(), nullptr);
    loader.load("dir/units.lua", "units");
    EXPECT_EQ(loader.getRootDir(), "dir/");
    EXPECT_EQ(lua_gettop(loader.getLuaState()), 1);
    loader.beginSubtable("tank");
    EXPECT_EQ(loader.getDouble("speed"), 10.5);
    const auto failureOf = [&](const std::string& file) {
        return messageOf([&] { loader.load(file, "units"); });
    };
    EXPECT_EQ(failureOf("none.lua"), "can't open 'none.lua'");
    EXPECT_EQ(loader.getRootDir(), "./");
    EXPECT_EQ(failureOf("dir/bad.lua"), "[string \"dir/bad.lua\"]:1: unexpected symbol near '='");
    EXPECT_EQ(failureOf("dir\\fails.lua"), "broken");
    EXPECT_EQ(loader.getRootDir(), "dir\\");
    EXPECT_EQ(loader.getCurrentPath(), "units.tank");
    EXPECT_EQ(lua_gettop(loader.getLuaState()), 2);
}

TEST_F(LuaLoader, WithoutAState) {
    Lua::Loader loader;
    EXPECT_EQ(loader.getInt("x"), 0);
    EXPECT_EQ(loader.getDouble(1), 0.0);
    EXPECT_FALSE(loader.getBoolean("x") || loader.hasEntry("x") || loader.nextArray());
    EXPECT_EQ(loader.getString("x"), "");
    EXPECT_EQ(loader.getVector("x").z, 0.0);
    EXPECT_EQ(loader.getQuaternion("x").w, 1.0);
    EXPECT_THROW(loader.beginSubtable("x"), Lua::LoaderException);
    EXPECT_THROW(loader.setInt("x", 1), Lua::LoaderException);
    EXPECT_THROW(loader.load("x"), Lua::LoaderException);
    loader.endSubtable();
    loader.createGlobalTable("x");
    script_.expect("return x => nil");
    EXPECT_EQ(run(loader.getLuaState(), "return type(x)"), "table");
}

// A tracer written in Lua that uses a loader of its own while a call of the host begins, and a
// script that calls all functions it finds.
TEST_F(LuaLoader, ScriptsComeInBetween) {
    use("root, traced = {}, {}");
    lua_pushcfunction(state_, [](lua_State* inner) {
        Lua::Loader loader(inner);
        loader.load("traced");
        loader.setInt("calls", 1);
        return 0;
    });
    lua_setglobal(state_, "trace");
    EXPECT_EQ(script_.run("debug.sethook(trace, 'c')"), "");
    loader_.setInt("untraced", 5);
    EXPECT_EQ(script_.run("debug.sethook() for _, f in pairs(debug.getregistry()) do "
                          "if type(f) == 'function' then f() end end "
                          "return traced.calls, root.untraced"),
              "1|5");
}

} // namespace
