#include "Lua/State.h"

#include "lua/script.h"

namespace {

// Renders tables as text, with sorted keys, so that copies can be compared.
constexpr char kRender[] =
    "function render(v)\n"
    "    if type(v) == 'string' then return string.format('%q', v) end\n"
    "    if type(v) ~= 'table' then return tostring(v) end\n"
    "    local parts = {}\n"
    "    for k, e in pairs(v) do parts[#parts + 1] = '[' .. render(k) .. ']=' .. render(e) end\n"
    "    table.sort(parts)\n"
    "    return '{' .. table.concat(parts, ',') .. '}'\n"
    "end";

struct LuaCopyIndex : ::testing::Test {
    LuaCopyIndex() { destination_.run(kRender); }

    // Copies the value of an expression in the source; returns the copy, rendered.
    std::string copy(const std::string& expression, lua_State* destination) {
        lua_State* const source = source_.state();
        lua_pushstring(source, "below");
        EXPECT_EQ(luaL_loadstring(source, ("return " + expression).c_str()), 0);
        lua_call(source, 0, 1);
        QZ_lua_copyindex(destination, source, -1);
        EXPECT_EQ(lua_gettop(source), destination == source ? 3 : 2);
        EXPECT_EQ(describe(source, 1), "below");
        lua_setglobal(destination, "copy");
        lua_settop(source, 0);
        return run(destination, "return render(copy)");
    }

    std::string copy(const std::string& expression) {
        return copy(expression, destination_.state());
    }

    Script source_{"Source"};
    Script destination_{"Destination"};
};

TEST_F(LuaCopyIndex, CopiesPlainValuesAndTablesDeeply) {
    expectEach([&](const std::string& expression) { return copy(expression); }, "true => true",
               "0.1 => 0.1", "'text' => \"text\"", "'cut\\0off' => \"cut\"", "{} => {}",
               "{1, 'two', {x = {y = false}}} => {[1]=1,[2]=\"two\",[3]={[\"x\"]={[\"y\"]=false}}}",
               "{[{1}] = {2}, [{{}}] = 3} => {[{[1]=1}]={[1]=2},[{[1]={}}]=3}",
               "{f = print, [print] = 1, [{print}] = print, [true] = 2} => {[true]=2}",
               "setmetatable({a = 1}, {__index = {b = 2}}) => {[\"a\"]=1}", "nil => nil",
               "print => nil", "newproxy() => nil", "coroutine.create(function() end) => nil");
    QZ_lua_copyindex(destination_.state(), source_.state(), 1); // an empty index
    EXPECT_EQ(describe(destination_.state(), -1), "nil");
    lua_settop(destination_.state(), 0);
}

TEST_F(LuaCopyIndex, CopiesWithinAStateAndBetweenItsCoroutines) {
    source_.run(kRender);
    EXPECT_EQ(copy("{1, {x = {2}}, [{3}] = 4}", source_.state()),
              "{[1]=1,[2]={[\"x\"]={[1]=2}},[{[1]=3}]=4}");
    lua_State* const thread = lua_newthread(destination_.state());
    EXPECT_EQ(copy("{1, {2}}", thread), "{[1]=1,[2]={[1]=2}}");
    lua_settop(destination_.state(), 0);
}

TEST_F(LuaCopyIndex, IndexOnlySelectsTheCase) {
    lua_State* const source = source_.state();
    EXPECT_EQ(luaL_dostring(source, "return {1}, {2}"), 0);
    QZ_lua_copyindex(destination_.state(), source, 1);
    lua_setglobal(destination_.state(), "copy");
    EXPECT_EQ(destination_.run("return render(copy)"), "{[1]=2}");
    lua_pushnumber(source, 3);                      // no table on top
    for (int copies = 0; copies < 1000; ++copies) { // more than the stack has room for at first
        QZ_lua_copyindex(destination_.state(), source, 3);
    }
    QZ_lua_copyindex(destination_.state(), source, 1);
    EXPECT_EQ(describe(destination_.state(), -1), "nil");
    EXPECT_EQ(lua_gettop(source), 3);
    lua_settop(source, 0);
    lua_settop(destination_.state(), 0);
}

TEST_F(LuaCopyIndex, RefusesCyclesAndEndlessDepth) {
    LogCapture log;
    source_.run("function nest(depth) local t = {} for i = 2, depth do t = {t} end return t end "
                "cycle = {'first'} cycle.self = cycle keyed = {} keyed[keyed] = true "
                "wide = {} for i = 1, 5 do wide[i] = wide end");
    EXPECT_EQ(copy("nest(1000)").size(), 2 + 999 * 6u);
    EXPECT_TRUE(log.take().empty());
    for (const char* endless : {"nest(1001)", "nest(10000)", "cycle", "keyed", "wide"}) {
        EXPECT_EQ(copy(endless), "nil") << endless;
        const std::vector<LogLine> lines = log.take();
        ASSERT_EQ(lines.size(), 1u) << endless;
        EXPECT_EQ(lines[0].module, "Destination");
        EXPECT_EQ(lines[0].level, 8u);
    }
}

} // namespace
