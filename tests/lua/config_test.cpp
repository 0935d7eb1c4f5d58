#include "Lua/Config.h"

#include "lua/stack_shape.h"

namespace {

constexpr std::uint32_t kError = 0x08;

struct LuaConfig : ShapedScript {
    // Makes an expression's value the current table.
    void use(const std::string& expression) {
        lua_settop(state_, 0);
        ASSERT_EQ(luaL_dostring(state_, ("return " + expression).c_str()), 0)
            << describe(state_, -1);
    }

    // The type and value by path or index.
    template<class Path>
    std::string at(Path path) {
        return still([&] {
            config_.get(path);
            const std::string type = luaL_typename(state_, -1), text = describe(state_, -1);
            lua_pop(state_, 1);
            return text == type ? type : type + " " + text;
        });
    }

    // Each case is "path => type value".
    template<class... Cases>
    void expectAt(const Cases&... cases) {
        expectEach([this](const std::string& path) { return at(path.c_str()); }, cases...);
    }

    template<class Path>
    bool open(Path path, const std::string& pushed) {
        const bool opened = shaped(0, pushed, [&] { return config_.open(path); });
        lua_settop(state_, 1);
        return opened;
    }

    // Pops an expression's value into an output that already holds another value. Reading without
    // popping gives the same.
    template<class Value>
    bool pop(const std::string& expression, Value* output) {
        use(expression);
        lua_pushvalue(state_, -1);
        const bool popped = shaped(1, "", [&] { return config_.pop(output); });
        if constexpr (requires { config_.iterate_pop(output); }) {
            Value read{};
            EXPECT_EQ(still([&] { return config_.iterate_pop(&read); }), popped) << expression;
            EXPECT_TRUE(!popped || read == *output) << expression;
        }
        return popped;
    }

    // Each case is "expression => the number that is popped".
    template<class Number, class... Cases>
    void expectPopped(const Cases&... cases) {
        const auto popped = [this](const std::string& expression) {
            Number number{};
            EXPECT_TRUE(pop(expression, &number)) << expression;
            std::ostringstream text;
            text << +number;
            return text.str();
        };
        expectEach(popped, cases...);
    }

    LogCapture log_;
    Lua::Config config_{state_};
};

TEST_F(LuaConfig, ReadsByPath) {
    use("{a = {b = {c = 5}}, ['a.b'] = {raw = 1}, [''] = {[''] = 'e'}, {7, {8}}, flag = false}");
    expectAt("a => table", "a.b.c => number 5", "a.x.c => nil", "a.b.c.d => nil",
             "flag => boolean false", "flag.x => nil", ". => string e", "1 => nil");
    EXPECT_EQ(at(1), "table");
    EXPECT_EQ(at(2), "nil");
    EXPECT_TRUE(open("a.b", "table"));
    EXPECT_FALSE(open("a.b.c", ""));
    EXPECT_TRUE(open(1, "table"));
    EXPECT_FALSE(open(3, ""));
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.open_raw("a.b"); }));
    expectAt("raw => number 1");
    lua_settop(state_, 1);
    EXPECT_FALSE(still([&] { return config_.open_raw("a.c"); }));
    EXPECT_EQ(at(static_cast<const char*>(nullptr)), "table"); // the empty key
}

TEST_F(LuaConfig, WhatIsNoTableHoldsNothing) {
    for (const char* value : {"5", "'text'", "print"}) { // strings have a metatable with an __index
        use(value);
        expectAt("len => nil", "len.x => nil");
        EXPECT_EQ(at(1), "nil");
        EXPECT_FALSE(open("len", ""));
        still([&] { config_.unset("len"); });
    }
}

TEST_F(LuaConfig, CreatesSetsAndUnsets) {
    use("{}");
    lua_pushnumber(state_, 7);
    shaped(1, "", [&] { config_.set("x.y.z"); });
    expectAt("x.y.z => number 7");
    const auto create = [&](const std::string& type, const auto& call) {
        shaped(0, type, call);
        lua_settop(state_, 1);
    };
    create("table", [&] { config_.create("new.table"); });
    create("number", [&] { config_.create("x.y.z"); }); // taken as it is
    create("table", [&] { config_.create(3); });
    create("table", [&] { config_.create_raw("p.q"); });
    expectAt("new.table => table", "p.q => nil");
    EXPECT_EQ(at(3), "table");
    EXPECT_TRUE(shaped(0, "table", [&] { return config_.open_raw("p.q"); }));
    lua_pushboolean(state_, 1);
    shaped(1, "", [&] { config_.set(4); });
    EXPECT_EQ(at(4), "boolean true");
    lua_settop(state_, 1);
    shaped(0, "table", [&] { config_.create("x.y"); });
    expectAt("z => number 7");
    lua_settop(state_, 1);
    for (const char* path : {"x.y", "none", "none.y", "x.y.z"}) {
        still([&] { config_.unset(path); });
    }
    expectAt("x.y => nil", "none => nil");
}

TEST_F(LuaConfig, ErrorsOfMetatables) {
    use("setmetatable({}, {__index = {inherited = {1}}})");
    EXPECT_TRUE(open("inherited", "table"));
    use("setmetatable({}, {__index = function(t, k) error('no ' .. k, 0) end,"
        " __newindex = function(t, k) error('locked', 0) end})");
    log_.take();
    expectAt("x.y => nil");
    EXPECT_EQ(at(5), "nil");
    EXPECT_FALSE(open("z", ""));
    still([&] { config_.unset("gone"); });
    EXPECT_EQ(log_.take(),
              (std::vector<LogLine>{{"Lua::Config", kError, "Call error x:no x."},
                                    {"Lua::Config", kError, "Call error 5:no 5."},
                                    {"Lua::Config", kError, "Call error z:no z."},
                                    {"Lua::Config", kError, "Call error gone:locked."}}));
    lua_settop(state_, 0);
    lua_register(state_, "create", [](lua_State* state) {
        Lua::Config(state).create(lua_tostring(state, 1)); // in the table on top
        return 0;
    });
    script_.expect("create('number.x', {number = 5}) => error: attempt to index a number value",
                   "t = setmetatable({}, {__index = function(t, k) error('no ' .. k, 0) end}) "
                   "create('x.y', t) => error: no x");
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
    expectPopped<int>("3.9 => 3", "-3.9 => -3", "' 0x10 ' => 16", "2^31 => -2147483648",
                      "0/0 => -2147483648", "-2^31 - 0.5 => -2147483648");
    expectPopped<unsigned char>("-1 => 255", "258.7 => 2");
    expectPopped<unsigned short>("65537 => 1");
    expectPopped<unsigned int>("2^32 + 5 => 5", "2^63 => 0");
    expectPopped<unsigned long>("-1 => " + std::to_string(ULONG_MAX));
    expectPopped<float>("0.1 => 0.1");
    expectPopped<double>("'1e3' => 1000", "'\\t-1.5E-3\\r\\n' => -0.0015", "'+.5' => 0.5",
                         "'5.' => 5", "'-0XfF' => -255", "'-1e999' => -inf", "'1e-999' => 0",
                         "'0x1p5000' => inf", "'0x.1p-2000' => 0", "'0x' .. ('f'):rep(400) => inf",
                         "'7\\0x' => 7", "0.1 => 0.1");
    expectPopped<bool>("true => 1");

    int number = 1;
    bool truth = true;
    std::string text;
    EXPECT_TRUE(pop("10.5", &text) && text == "10.5");
    EXPECT_TRUE(pop("'a\\0b'", &text) && text == "a\0b"s);
    for (const char* expression : {"nil", "{}", "print", "'3x'", "''", "' '", "'.'", "'+-3'",
                                   "'0x'", "'0x-3'", "'0xinf'", "'3 3'", "false"}) {
        EXPECT_FALSE(pop(expression, &number)) << expression;
    }
    EXPECT_FALSE(pop("1", &truth) || pop("nil", &truth) || pop("true", &text));
    EXPECT_TRUE(number == 1 && truth && text == "a\0b"s);
}

TEST_F(LuaConfig, LoadsAndRuns) {
    writeFile("two.lua", "return 1, 'x'");
    writeFile("fails.lua", "error({})");
    const std::string longLine(300, 'y');
    use("{}");
    log_.take();
    EXPECT_TRUE(shaped(0, "number string", [&] { return config_.load("two.lua"); }));
    EXPECT_TRUE(shaped(0, "number string", [&] { return config_.dofile("two.lua"); }));
    EXPECT_TRUE(shaped(0, "number nil", [&] { return config_.dostring("return 1, nil"); }));
    EXPECT_FALSE(still([&] { return config_.load("fails.lua"); }));
    EXPECT_FALSE(still([&] { return config_.load(nullptr); }));
    EXPECT_FALSE(still([&] { return config_.dofile("none"); }));
    EXPECT_FALSE(still([&] { return config_.dostring("error('e', 0)\r\nmore()"); }));
    EXPECT_FALSE(still([&] { return config_.dostring(nullptr); }));
    EXPECT_FALSE(still([&] { return config_.dostring(("error''" + longLine).c_str()); }));
    Lines messages = log_.messages();
    const std::string cut = "in \"error''" + std::string(255 - 7, 'y') + "\"";
    EXPECT_NE(messages.back().find(cut), std::string::npos) << messages.back();
    messages.pop_back();
    EXPECT_EQ(messages,
              (Lines{"load error fails.lua:unknown error.", "load error <NULL>:no filename given.",
                     "Lua error can't open 'none' in \"none\"", "Lua error e in \"error('e', 0)\"",
                     "Lua error no text given in \"<NULL>\""}));
}

TEST_F(LuaConfig, RunsInATableOfItsOwn) {
    writeFile("data.lua", "a = {b = 1}");
    writeFile("more.lua", "more = type(_G.name) return 'r', nil");
    writeFile("code.lua", "name = tostring(1) result, last = dofile('more.lua') own = _G.name "
                          "failed = pcall(dofile, 'none')");
    writeFile("bad.lua", "print('x')");
    const std::vector<char> good = {'v', '=', '1'}, bad = {'v', '=', '='}; // not terminated
    log_.take();
    const auto load = [&](const auto& call) { return shaped(0, "table", call); };
    EXPECT_TRUE(load([&] { return config_.tmpload("data.lua", false); }));
    expectAt("a.b => number 1");
    EXPECT_TRUE(load([&] { return config_.tmpload("code.lua", true); }));
    expectAt("own => string 1", "more => string", "result => string r", "failed => boolean false");
    script_.expect("return a, name, more => nil|nil|nil");
    EXPECT_TRUE(load([&] { return config_.tmpload_buf(good.data(), good.size(), false); }));
    expectAt("v => number 1");
    EXPECT_TRUE(load([&] { return config_.tmpload_buf(nullptr, 9, true); }));
    EXPECT_FALSE(still([&] { return config_.tmpload("bad.lua", false); }));
    EXPECT_FALSE(still([&] { return config_.tmpload("none", true); }));
    EXPECT_FALSE(still([&] { return config_.tmpload_buf(bad.data(), bad.size(), false); }));
    EXPECT_EQ(log_.messages(), (Lines{"load error bad.lua:[string \"bad.lua\"]:1: "
                                      "attempt to call global 'print' (a nil value).",
                                      "load error none:can't open 'none'.",
                                      "load error v==:[string \"?\"]:1: '=' expected near '=='."}));
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
