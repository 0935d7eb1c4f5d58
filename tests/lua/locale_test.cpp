// A host that takes its user's locale.
#include "Lua/Config.h"
#include "Lua/Serializer.h"
#include "lua/script.h"
#include "support/comma_locale.h"

namespace {

struct LuaLocale : InDirectory {};

TEST_F(LuaLocale, ChangesNoNumbers) {
    const CommaLocale locale(fs::current_path());
    if (!locale.isThere()) {
        GTEST_SKIP() << locale.reason();
    }
    LogCapture log;
    Script script;
    lua_State* const state = script.state();
    Lua::Config config(state);
    ASSERT_EQ(script.run("return os.setlocale(nil, 'numeric') == 'C'"), "false");

    script.run("t = {[0.5] = {x = -1.75}}");
    for (const char* const form : {"return t[0.5].x", "t.t = t return t[0.5].x, t.t == t"}) {
        script.run(form);
        std::ostringstream saved;
        Lua::Serializer(saved).serialize(state, "t");
        ASSERT_TRUE(config.dostring(("t = nil " + saved.str()).c_str())) << saved.str();
        EXPECT_EQ(script.run("return t[0.5].x == -1.75"), "true") << saved.str();
    }

    double number = 0;
    std::string text;
    lua_pushliteral(state, " 2.25 ");
    EXPECT_TRUE(config.pop(&number));
    EXPECT_EQ(number, 2.25);
    lua_pushliteral(state, "2,5");
    EXPECT_FALSE(config.pop(&number));
    lua_pushnumber(state, 2.25);
    EXPECT_TRUE(config.pop(&text));
    EXPECT_EQ(text, "2.25");

    script.run("f = io.open('out', 'w') f:write(2.25, ' ', 'x') f:close()");
    EXPECT_EQ(readFile("out"), "2.25 x");
    log.take();
    script.run("log.info(log.INFO, 2.25)");
    EXPECT_EQ(log.messages(), Lines{"2.25"});
}

} // namespace
