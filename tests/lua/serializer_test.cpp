#include "Lua/Serializer.h"

#include "lua/stack_shape.h"

#include <streambuf>

namespace {

struct LuaSerializer : ShapedScript {
    // Saves a global. Checks that the call leaves `pushed` on the stack, and pops it.
    std::string save(const std::string& name, const std::string& pushed = "") {
        std::ostringstream stream;
        Lua::Serializer serializer(stream);
        shaped(0, pushed, [&] { serializer.serialize(state_, name); });
        message_ = pushed.empty() ? "" : describe(state_, -1);
        lua_settop(state_, 0);
        return stream.str();
    }

    // The results of code that runs after a saved `t` was loaded again.
    std::string reloaded(const std::string& code) { return script_.run(save("t") + "\n" + code); }

    LogCapture log_;
    std::string message_;
};

TEST_F(LuaSerializer, WritesTreesAsPeopleReadThem) {
    script_.run("cfg = {speed = 5} t = {[2.5] = {x = {on = true}}} e = {}");
    log_.take();
    EXPECT_EQ(save("cfg"), "cfg = {\n    [\"speed\"] = 5,\n}");
    EXPECT_EQ(save("e"), "e = {\n}");
    EXPECT_EQ(save("t"), "t = {\n    [2.5] = {\n        [\"x\"] = {\n"
                         "            [\"on\"] = true,\n        },\n    },\n}");
    EXPECT_EQ(reloaded("return t[2.5].x.on"), "true");
    EXPECT_EQ(log_.messages(), Lines());
    EXPECT_EQ(script_.run("t = {x = 'say \"x\"'}"), "");
    EXPECT_EQ(reloaded("").substr(0, 6), "error:");
}

TEST_F(LuaSerializer, WritesSharedAndCyclicTablesFlat) {
    script_.run("t = {} t.self = t");
    log_.take();
    EXPECT_EQ(save("t"), "__cache = {}for i = 1, 1 do __cache[i] = {} end\n\n"
                         "__cache[1][\"self\"] = __cache[1];\n"
                         "t = __cache[1];\n__cache = nil;\n");
    EXPECT_EQ(log_.messages(), Lines{"Cannot pretty"});
    EXPECT_EQ(reloaded("return t.self == t, __cache"), "true|nil");
    script_.run("local s = {n = 1.5} t = {a = s, b = {s}, [true] = 'yes', [{key = 'k'}] = s}");
    log_.take();
    EXPECT_EQ(reloaded("for k in pairs(t) do if type(k) == 'table' then key = k end end"
                       " return t.a == t.b[1], t.a.n, t[true], key.key, t[key] == t.a"),
              "true|1.5|yes|k|true");
    ASSERT_EQ(log_.messages().size(), 1u);
    script_.run("t = {[true] = 1}");
    save("t");
    EXPECT_EQ(log_.messages(), Lines{"Cannot pretty for key"});
}

TEST_F(LuaSerializer, LeavesTheMessageOfAnErrorOnTheStack) {
    script_.run("cfg = {f = print}");
    EXPECT_EQ(save("cfg", "string"), "cfg = {\n    [\"f\"] = ");
    EXPECT_EQ(message_.substr(0, 32), "Don't know how to write function") << message_;
    EXPECT_EQ(save("none", "string"), "");
}

TEST_F(LuaSerializer, WritesDeepTreesSoThatTheyCanBeReadBack) {
    script_.run(
        "function chain(depth) t = {} local at = t for i = 2, depth do at.t = {} at = at.t end end "
        "function depth() local n, at = 0, t while at do n, at = n + 1, at.t end return n end");
    for (const char* depth : {"180", "181", "30000"}) {
        script_.run(std::string("chain(") + depth + ")");
        EXPECT_EQ(reloaded("return depth()"), depth);
    }
}

TEST_F(LuaSerializer, ReportsThatItCannotStart) {
    script_.run("setmetatable(_G, {__newindex = function(t, k) error('locked ' .. k, 0) end})");
    EXPECT_EQ(messageOf([&] { save("_G"); }), "locked write");
    std::ostringstream stream;
    EXPECT_THROW(Lua::Serializer(stream).serialize(nullptr, "t"), Lua::SerializerException);
}

TEST_F(LuaSerializer, TheOutputFunctionOutlivesTheCall) {
    script_.run("t = {1}");
    save("t");
    EXPECT_EQ(script_.run("collectgarbage() __write('late') return (pcall(__write))"), "false");
}

TEST_F(LuaSerializer, AStreamMaySaveTooWhileItTakesText) {
    struct Saving : std::stringbuf {
        std::streamsize xsputn(const char* text, std::streamsize size) override {
            const auto save = std::exchange(save_, nullptr);
            save ? save() : void();
            return std::stringbuf::xsputn(text, size);
        }
        std::function<void()> save_;
    } buffer;
    script_.run("t = {} t.self = t bad = {f = print, t = t} bad.self = bad");
    const std::string whole = save("t");
    for (const char* const other : {"t", "bad", "t"}) {
        buffer.str("");
        buffer.save_ = [&] {
            std::ostringstream text;
            Lua::Serializer(text).serialize(state_, other);
            lua_settop(state_, 1);
        };
        std::ostream stream(&buffer);
        still([&] { Lua::Serializer(stream).serialize(state_, "t"); });
        EXPECT_EQ(buffer.str(), whole);
        script_.run("local all = {} setmetatable(_G, {__index = all, "
                    "__newindex = function(_, name, value) all[name] = value end}) "
                    "for name in pairs{__write = 1, __serialize = 1, fill_cache = 1, write = 1, "
                    "output_table = 1} do _G[name] = nil end");
    }
}

TEST_F(LuaSerializer, StreamsThatThrow) {
    struct Full : std::streambuf {
    } full; // takes nothing: overflow() returns an error
    std::ostream stream(&full);
    stream.exceptions(std::ios::badbit);
    script_.run("t = {1}");
    shaped(0, "string", [&] { Lua::Serializer(stream).serialize(state_, "t"); });
    EXPECT_EQ(describe(state_, -1), "the stream does not take what is written");
    EXPECT_TRUE(stream.bad());
}

} // namespace
