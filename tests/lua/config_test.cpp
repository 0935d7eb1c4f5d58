#include "Lua/Config.h"

#include "lua/script.h"
#include "lua/stack_shape.h"

namespace {

using namespace qz::test;

constexpr std::uint32_t kError = 0x08;

struct LuaConfig : ::testing::Test {
    ~LuaConfig() override { lua_settop(state_, 0); }

    // Makes an expression's value the current table.
    void use(const std::string& expression) {
        lua_settop(state_, 0);
        ASSERT_EQ(luaL_dostring(state_, ("return " + expression).c_str()), 0)
            << describe(state_, -1);
    }

    template<class Call>
    auto shaped(int popped, const std::string& pushed, const Call& call) {
        return qz::test::shaped(state_, popped, pushed, call);
    }

    // The value by path or index, as text.
    template<class Path>
    std::string at(Path path, const std::string& type) {
        shaped(0, type, [&] { config_.get(path); });
        std::string text = describe(state_, -1);
        lua_pop(state_, 1);
        return text;
    }

    template<class Path>
    bool open(Path path, const std::string& pushed) {
        const bool opened = shaped(0, pushed, [&] { return config_.open(path); });
        lua_settop(state_, 1);
        return opened;
    }

    // Pops an expression's value into an output that already holds another value.
    template<class Value>
    bool pop(const std::string& expression, Value* output) {
        use(expression);
        return shaped(1, "", [&] { return config_.pop(output); });
    }

    template<class Value>
    Value popped(const std::string& expression) {
        Value value{};
        EXPECT_TRUE(pop(expression, &value)) << expression;
        return value;
    }

    // The error that a call lets through.
    std::string errorOf(void (*call)(Lua::Config& config)) {
        lua_pushlightuserdata(state_, reinterpret_cast<void*>(call));
        lua_pushcclosure(state_, callConfig, 1);
        lua_pushvalue(state_, 1);
        EXPECT_NE(lua_pcall(state_, 1, 0, 0), 0);
        std::string text = describe(state_, -1);
        lua_pop(state_, 1);
        return text;
    }

    static int callConfig(lua_State* state) {
        Lua::Config config(state);
        reinterpret_cast<void (*)(Lua::Config&)>(lua_touserdata(state, lua_upvalueindex(1)))(
            config);
        return 0;
    }

    LogCapture log_;
    Script script_;
    lua_State* state_ = script_.state();
    Lua::Config config_{state_};
};

TEST_F(LuaConfig, ReadsByPath) {
    use("{a = {b = {c = 5}}, ['a.b'] = {raw = 1}, [''] = {[''] = 'e'}, {7, {8}}, flag = false}");
    EXPECT_EQ(at("a", "table"), "table");
    EXPECT_EQ(at("a.b.c", "number"), "5");
    EXPECT_EQ(at("a.x.c", "nil"), "nil");
    EXPECT_EQ(at("a.b.c.d", "nil"), "nil");
    EXPECT_EQ(at("flag", "boolean"), "false");
    EXPECT_EQ(at("flag.x", "nil"), "nil");
    EXPECT_EQ(at(".", "string"), "e");
    EXPECT_EQ(at("1", "nil"), "nil");
    EXPECT_EQ(at(1, "table"), "table");
    EXPECT_EQ(at(2, "nil"), "nil");
    EXPECT_TRUE(open("a.b", "table"));
    EXPECT_FALSE(open("a.b.c", ""));
    EXPECT_TRUE(open(1, "table"));
    EXPECT_FALSE(open(3, ""));
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.open_raw("a.b"); }));
    EXPECT_EQ(at("raw", "number"), "1");
    lua_settop(state_, 1);
    EXPECT_FALSE(shaped(0, "", [&] { return config_.open_raw("a.c"); }));
    EXPECT_EQ(at(static_cast<const char*>(nullptr), "table"), "table"); // the empty key
}

TEST_F(LuaConfig, WhatIsNoTableHoldsNothing) {
    for (const char* value : {"5", "'text'", "print"}) { // strings have a metatable with an __index
        use(value);
        EXPECT_EQ(at("len", "nil"), "nil");
        EXPECT_EQ(at("len.x", "nil"), "nil");
        EXPECT_EQ(at(1, "nil"), "nil");
        EXPECT_FALSE(open("len", ""));
        shaped(0, "", [&] { config_.unset("len"); });
    }
}

TEST_F(LuaConfig, CreatesSetsAndUnsets) {
    use("{}");
    lua_pushnumber(state_, 7);
    shaped(1, "", [&] { config_.set("x.y.z"); });
    EXPECT_EQ(at("x.y.z", "number"), "7");
    shaped(0, "table", [&] { config_.create("x.y"); });
    EXPECT_EQ(at("z", "number"), "7");
    lua_settop(state_, 1);
    shaped(0, "table", [&] { config_.create("new.table"); });
    lua_settop(state_, 1);
    EXPECT_TRUE(open("new.table", "table"));
    shaped(0, "number", [&] { config_.create("x.y.z"); }); // taken as it is
    lua_settop(state_, 1);
    shaped(0, "table", [&] { config_.create(3); });
    lua_pushboolean(state_, 1);
    shaped(1, "", [&] { config_.set(4); });
    lua_settop(state_, 1);
    EXPECT_TRUE(open(3, "table"));
    shaped(0, "table", [&] { config_.create_raw("p.q"); });
    lua_settop(state_, 1);
    EXPECT_FALSE(open("p.q", ""));
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.open_raw("p.q"); }));
    lua_settop(state_, 1);
    for (const char* path : {"x.y", "none", "none.y", "x.y.z"}) {
        shaped(0, "", [&] { config_.unset(path); });
    }
    EXPECT_EQ(at("x.y", "nil"), "nil");
    EXPECT_EQ(at("none", "nil"), "nil");
}

TEST_F(LuaConfig, ErrorsOfMetatables) {
    use("setmetatable({}, {__index = {inherited = {1}}})");
    EXPECT_TRUE(open("inherited", "table"));
    use("setmetatable({}, {__index = function(t, k) error('no ' .. k, 0) end,"
        " __newindex = function(t, k) error('locked', 0) end})");
    log_.take();
    EXPECT_EQ(at("x.y", "nil"), "nil");
    EXPECT_EQ(at(5, "nil"), "nil");
    EXPECT_FALSE(open("z", ""));
    shaped(0, "", [&] { config_.unset("gone"); });
    EXPECT_EQ(log_.take(),
              (std::vector<LogLine>{{"Lua::Config", kError, "Call error x:no x."},
                                    {"Lua::Config", kError, "Call error 5:no 5."},
                                    {"Lua::Config", kError, "Call error z:no z."},
                                    {"Lua::Config", kError, "Call error gone:locked."}}));
    EXPECT_EQ(errorOf([](Lua::Config& config) { config.create("x.y"); }), "no x");
    use("{number = 5}");
    EXPECT_EQ(errorOf([](Lua::Config& config) { config.create("number.x"); }),
              "attempt to index a number value");
}

TEST_F(LuaConfig, ATableWithinItselfEndsWhereTheStackEnds) {
    use("(function() local t = {} t.t = t return t end)()");
    int depth = 0;
    while (config_.open("t")) {
        ++depth;
    }
    EXPECT_GT(depth, 1000);
    lua_settop(state_, 1);
    EXPECT_TRUE(open("t.t.t.t", "table"));
}

TEST_F(LuaConfig, PopsWhatHasTheWantedType) {
    EXPECT_EQ(popped<int>("3.9"), 3);
    EXPECT_EQ(popped<int>("-3.9"), -3);
    EXPECT_EQ(popped<int>("' 0x10 '"), 16);
    EXPECT_EQ(popped<int>("2^31"), INT_MIN);
    EXPECT_EQ(popped<int>("0/0"), INT_MIN);
    EXPECT_EQ(popped<int>("-2^31 - 0.5"), INT_MIN);
    EXPECT_EQ(popped<unsigned char>("-1"), 255);
    EXPECT_EQ(popped<unsigned char>("258.7"), 2);
    EXPECT_EQ(popped<unsigned short>("65537"), 1);
    EXPECT_EQ(popped<unsigned int>("2^32 + 5"), 5u);
    EXPECT_EQ(popped<unsigned int>("2^63"), 0u);
    EXPECT_EQ(popped<unsigned long>("-1"), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(popped<float>("0.1"), 0.1f);
    EXPECT_EQ(popped<double>("'1e3'"), 1000.0);
    EXPECT_EQ(popped<double>("'\\t-1.5E-3\\r\\n'"), -1.5e-3);
    EXPECT_EQ(popped<double>("'+.5'"), 0.5);
    EXPECT_EQ(popped<double>("'5.'"), 5.0);
    EXPECT_EQ(popped<double>("'-0XfF'"), -255.0);
    EXPECT_EQ(popped<double>("'-1e999'"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(popped<double>("'1e-999'"), 0.0);
    EXPECT_EQ(popped<double>("'7\\0x'"), 7.0);
    EXPECT_EQ(popped<bool>("true"), true);
    EXPECT_EQ(popped<std::string>("'a\\0b'"), std::string("a\0b", 3));
    EXPECT_EQ(popped<std::string>("10.5"), "10.5");

    int number = 1;
    bool truth = true;
    std::string text = "kept";
    for (const char* expression : {"nil", "{}", "print", "'3x'", "''", "' '", "'.'", "'+-3'",
                                   "'0x'", "'0x-3'", "'3 3'", "false"}) {
        EXPECT_FALSE(pop(expression, &number)) << expression;
    }
    EXPECT_FALSE(pop("1", &truth));
    EXPECT_FALSE(pop("false and 1 or nil", &truth));
    EXPECT_FALSE(pop("true", &text));
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(truth);
    EXPECT_EQ(text, "kept");
}

TEST_F(LuaConfig, IteratePopsNothing) {
    use("{first = 1, second = 2.5, third = 'x'}");
    double sum = 0;
    double number = 0;
    std::string text;
    for (lua_pushnil(state_); lua_next(state_, 1) != 0; lua_pop(state_, 1)) {
        if (shaped(0, "", [&] { return config_.iterate_pop(&number); })) {
            sum += number;
        } else {
            EXPECT_TRUE(shaped(0, "", [&] { return config_.iterate_pop(&text); }));
        }
    }
    EXPECT_EQ(sum, 3.5);
    EXPECT_EQ(text, "x");
}

TEST_F(LuaConfig, LoadsAndRuns) {
    const std::string dir = scriptDirectory();
    writeFile(dir + "/two.lua", "return 1, 'x'");
    writeFile(dir + "/fails.lua", "error({})");
    const std::string two = dir + "/two.lua", fails = dir + "/fails.lua";
    const std::string longLine(300, 'y');
    use("{}");
    log_.take();
    EXPECT_TRUE(shaped(0, "number string", [&] { return config_.load(two.c_str()); }));
    EXPECT_TRUE(shaped(0, "number string", [&] { return config_.dofile(two.c_str()); }));
    EXPECT_TRUE(shaped(0, "number nil", [&] { return config_.dostring("return 1, nil"); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.load(fails.c_str()); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.load(nullptr); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.dofile("none"); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.dostring("error('e', 0)\r\nmore()"); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.dostring(nullptr); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.dostring(("error''" + longLine).c_str()); }));
    Lines messages = log_.messages();
    const std::string cut = "in \"error''" + std::string(255 - 7, 'y') + "\"";
    EXPECT_NE(messages.back().find(cut), std::string::npos) << messages.back();
    messages.pop_back();
    EXPECT_EQ(
        messages,
        (Lines{"load error " + fails + ":unknown error.", "load error <NULL>:no filename given.",
               "Lua error can't open 'none' in \"none\"", "Lua error e in \"error('e', 0)\"",
               "Lua error no text given in \"<NULL>\""}));
}

TEST_F(LuaConfig, RunsInATableOfItsOwn) {
    const std::string dir = scriptDirectory();
    const std::string data = dir + "/data.lua", code = dir + "/code.lua", bad = dir + "/bad.lua";
    writeFile(data, "a = {b = 1}");
    writeFile(dir + "/more.lua", "more = type(_G.name) return 'r', nil");
    writeFile(code, "name = tostring(1) result, last = dofile('" + dir +
                        "/more.lua') own = _G.name failed = pcall(dofile, 'none')");
    writeFile(bad, "print('x')");
    log_.take();
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.tmpload(data.c_str(), false); }));
    EXPECT_EQ(at("a.b", "number"), "1");
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.tmpload(code.c_str(), true); }));
    EXPECT_EQ(at("own", "string"), "1");
    EXPECT_EQ(at("more", "string"), "string");
    EXPECT_EQ(at("result", "string"), "r");
    EXPECT_EQ(at("failed", "boolean"), "false");
    EXPECT_EQ(script_.run("return a, name, more"), "nil|nil|nil");
    EXPECT_FALSE(shaped(0, "", [&] { return config_.tmpload(bad.c_str(), false); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.tmpload("none", true); }));
    EXPECT_EQ(log_.messages(), (Lines{"load error " + bad + ":[string \"" + bad +
                                          "\"]:1: attempt to call global 'print' (a nil value).",
                                      "load error none:can't open 'none'."}));
}

TEST_F(LuaConfig, RunsABufferThatIsNotTerminated) {
    const std::vector<char> good = {'v', '=', '1'}, bad = {'v', '=', '='};
    log_.take();
    EXPECT_TRUE(
        shaped(0, "table", [&] { return config_.tmpload_buf(good.data(), good.size(), false); }));
    EXPECT_EQ(at("v", "number"), "1");
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.tmpload_buf(nullptr, 9, true); }));
    EXPECT_FALSE(shaped(0, "", [&] { return config_.tmpload_buf(bad.data(), bad.size(), false); }));
    EXPECT_EQ(log_.messages(), (Lines{"load error v==:[string \"?\"]:1: '=' expected near '=='."}));
}

// Some chunks have counts that promise gigabytes. LuaJIT would run a damaged chunk.
TEST_F(LuaConfig, RunsNoBufferThatIsADamagedChunk) {
    const std::string chunk = script_.run("return string.dump(loadstring('v = 1'))");
    for (std::size_t i = 0; i < chunk.size(); ++i) {
        std::string damaged = chunk.substr(0, chunk.size() - 1);
        damaged[i % damaged.size()] = '\x7f';
        EXPECT_FALSE(config_.tmpload_buf(damaged.data(), damaged.size(), false)) << i;
    }
}

} // namespace
