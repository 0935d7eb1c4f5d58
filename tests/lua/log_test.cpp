#include "lua/script.h"

namespace {

struct LuaLog : ::testing::Test {
    LuaLog() { log_.take(); }

    // The lines that one statement logs, as "level module: message".
    std::string logged(const std::string& code) {
        EXPECT_EQ(script_.run(code), "") << code;
        std::string text;
        for (const LogLine& line : log_.take()) {
            text += (text.empty() ? "" : "\n") + std::to_string(line.level) + " " + line.message;
            EXPECT_EQ(line.module, "Test");
        }
        return text;
    }

    LogCapture log_;
    Script script_;
    const std::function<std::string(std::string)> logging_ = [this](const auto& code) {
        return logged(code);
    };
};

TEST_F(LuaLog, TakesTheLevelFromTheFunctionOrTheFirstNumber) {
    script_.expect("return log.ALERT, log.ERROR, log.WARNING, log.INFO, log.DEBUG, log.ALL, "
                   "log.TRACE => 2|8|16|64|128|255|256");
    expectEach(logging_, "log.error('e') => 8 e", "log.warning('w') => 16 w",
               "log.info('i') => 64 i", "log.debug('d') => 128 d",
               "log.info(log.WARNING, 'raised') => 16 raised", "log.printf('x') => 8 x",
               "log.printf(log.DEBUG, 'x2') => 128 x2", "log.printf(0, 'x3') => 8 x3",
               "log.info('128', 'not a level') => 64 128", "log('called') => 64 called",
               "log(log.DEBUG, 'a') => 128 a", "log(log.TRACE, 't') => 256 t",
               "log.info(0/0, 'nan') => 8 nan", "log.info(1e300, 'huge') => 8 huge");
}

TEST_F(LuaLog, FormatsOnlyWhatHasValues) {
    expectEach(logging_, "log.info('%d%%', 5) => 64 5%", "log.info('100%') => 64 100%",
               "log.info('%s and %s', 'one') => 64 %s and %s",
               "log.info('%d', 'no number') => 64 %d", "log.info('%s', '%n%s') => 64 %n%s",
               "log.info(64, 42) => 64 42");
}

TEST_F(LuaLog, NeverRaises) {
    expectEach(logging_, "log.info() => 64 <NULL>", "log.info(64) => 64 <NULL>",
               "getmetatable(log).__call() => 64 <NULL>", "log.info({}) => 64 <NULL>",
               "log.info(nil, 1) => 64 <NULL>",
               "local t = {} for i = 1, 7000 do t[i] = i end log.info('%d', unpack(t)) => 64 1",
               "string.format = function() error('no') end log.info('a %d', 1) => 64 a %d",
               "string.format = function() return {} end log.info('b %d', 1) => 64 b %d",
               "string.format = coroutine.yield log.info('c %d', 1) => 64 c %d",
               "string = nil log.info('d %d', 1) => 64 d %d",
               "setmetatable(_G, {__index = error}) log.info('e %d', 1) => 64 e %d");
}

// Each level of recursion takes a level of the C stack, which Lua limits.
TEST_F(LuaLog, FormatThatLogs) {
    script_.expect("local depth = 0 string.format = function() "
                   "depth = depth + 1 log.info('%d', 1) return 'deep' end "
                   "log.info('%d', 1) return depth > 10 => true");
}

TEST_F(LuaLog, OpensAndClosesOutputs) {
    script_.expect(
        "log.set_output() => error: bad argument #1 to 'set_output' (logname should be provided)",
        "log.set_output('net') => "
        "error: bad argument #2 to 'set_output' (string expected, got no value)",
        "log.set_output('net', 'NET') => "
        "error: bad argument #3 to 'set_output' (number expected, got no value)");
    fs::remove("lua_log_test.log");
    EXPECT_EQ(logged("log.set_output('lua_log_test', 'Test', log.ERROR + log.WARNING)\n"
                     "log.info('not this') log.error('but this')\n"
                     "log.set_output('lua_log_test', '', 0) log.error('nor this')"),
              "64 not this\n8 but this\n8 nor this");
    const std::string file = readFile("lua_log_test.log");
    EXPECT_NE(file.find(" ERROR   Test: but this"), std::string::npos) << file;
    EXPECT_EQ(file.find("n"), std::string::npos) << file;
}

} // namespace
