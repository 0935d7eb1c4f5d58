#include "lua/script.h"

namespace {

using namespace qz::test;

struct LuaIo : ScriptInDirectory {
    // Opens a file that holds these bytes as `f` and runs code.
    std::string read(const std::string& bytes, const std::string& code) {
        writeFile(dir_ + "/in", bytes);
        const std::string result = run("f = io.open(dir .. '/in', 'rb') " + code);
        run("f:close()"); // on Windows a file that is open cannot be written
        return result;
    }
};

TEST_F(LuaIo, OpensForReadingAndWritingOnly) {
    EXPECT_EQ(run("io.open()"), "error: bad argument #1 to 'open' (requires a filename)");
    EXPECT_EQ(run("return io.open('f', 'a+')"),
              "nil|io.open(f): only 'r' and 'w' are supported on VFS");
    EXPECT_EQ(run("return io.open('f', '')"),
              "nil|io.open(f): only 'r' and 'w' are supported on VFS");
    EXPECT_EQ(run("return io.open(dir .. '/none', 'rb')"),
              "nil|can't open \"" + dir_ + "/none\" for 'rb'");
    EXPECT_EQ(run("return io.open(dir .. '/none/x', 'w')"),
              "nil|can't open \"" + dir_ + "/none/x\" for 'w'");
    EXPECT_EQ(run("return io.open(dir)"), "nil|can't open \"" + dir_ + "\" for 'r'");
    EXPECT_EQ(run("return io.open(dir .. '/' .. ('x'):rep(300)) == nil"), "true");
    EXPECT_EQ(run("return io.stdin, io.stdout, io.stderr, io.input, io.output, io.popen, "
                  "io.tmpfile, io.type"),
              "nil|nil|nil|nil|nil|nil|nil|nil");
}

TEST_F(LuaIo, ReadsLinesWithoutCarriageReturns) {
    constexpr char kLines[] = "local t = {} for l in f:lines() do t[#t + 1] = '<' .. l .. '>' end "
                              "return table.concat(t)";
    EXPECT_EQ(read("x\r\ny", kLines), "<x><y>");
    EXPECT_EQ(read("", kLines), "");
    EXPECT_EQ(read("\n\na\r\rb\r", kLines), "<><><ab>");
    EXPECT_EQ(read("\r", kLines), "<>");
    EXPECT_EQ(read(std::string("a\0b\nc", 5), kLines), std::string("<a\0b><c>", 8));
    EXPECT_EQ(read("x\r\ny", "return f:read(), io.read(f, '*l'), f:read('*line')"), "x|y|nil");
    // Lines that end around the edges of the 1024 bytes read ahead.
    for (size_t length : {1022u, 1023u, 1024u, 1025u, 5000u}) {
        const std::string line(length, 'z');
        EXPECT_EQ(read(line + "\nend", "return f:read(), f:read(), f:read()"), line + "|end|nil");
    }
}

TEST_F(LuaIo, ReadsBytes) {
    EXPECT_EQ(read("", "return f:read(10), f:read(0), f:read('*a')"), "||");
    EXPECT_EQ(read("abc", "return f:read(2), f:read(2), f:read(2)"), "ab|c|");
    EXPECT_EQ(read("abc", "return select('#', f:read(-1)), select('#', f:read(0/0))"), "0|0");
    EXPECT_EQ(read("abc", "return f:read(1e300)"), "abc");
    EXPECT_EQ(read("abc", "return f:read(math.huge)"), "abc");
    const std::string big(70000, 'q');
    EXPECT_EQ(
        read("one\n" + big, "return f:read(), f:read(1000) == ('q'):rep(1000), #f:read('*a')"),
        "one|true|69000");
}

TEST_F(LuaIo, RefusesOtherFormats) {
    EXPECT_EQ(read("1", "return f:read('*n')"), "error: io.read('*n') is not supported");
    EXPECT_EQ(read("1", "f:read('12')"), "error: bad argument #1 to 'read' (invalid option)");
    EXPECT_EQ(read("1", "return select('#', f:read('*x')), select('#', f:read('*'))"), "0|0");
}

TEST_F(LuaIo, WritesTextAndNumbers) {
    EXPECT_EQ(run("local f = io.open(dir .. '/out', 'w') "
                  "return select('#', f:write('a\\0', 1.5, nil, {}, true, 'z')), "
                  "select('#', f:flush()), select('#', io.write(f, '!')), select('#', f:close())"),
              "0|0|0|0");
    EXPECT_EQ(readFile(dir_ + "/out"), std::string("a\0"
                                                   "1.5z!",
                                                   7));
}

TEST_F(LuaIo, OnlyOpenFilesDoAnything) {
    EXPECT_EQ(read("x\ny", "local next = f:lines() next() f:close() f:close() "
                           "return select('#', f:read(1)), select('#', f:lines()), next()"),
              "0|0");
    EXPECT_EQ(run("return select('#', io.read()), select('#', io.write('x')), "
                  "select('#', io.lines(dir)), select('#', io.close({})), "
                  "select('#', io.read(newproxy()))"),
              "0|0|0|0|0");
    // A userdata of a script's that has a file's metatable.
    EXPECT_EQ(read("x", "local fake = newproxy() debug.setmetatable(fake, getmetatable(f)) "
                        "return select('#', fake:read(1)), select('#', fake:close())"),
              "0|0");
}

TEST_F(LuaIo, CollectedFilesAreClosed) {
    EXPECT_EQ(run("do local f = io.open(dir .. '/out', 'w') f:write('x') end "
                  "collectgarbage() collectgarbage() return io.open(dir .. '/out', 'w') ~= nil"),
              "true");
}

TEST_F(LuaIo, FileThatShrinksWhileItIsRead) {
    writeFile(dir_ + "/in", std::string(5000, 'x'));
    run("f = io.open(dir .. '/in') f:read(10)");
    std::error_code refused; // on Windows a file that is being read keeps its size
    fs::resize_file(dir_ + "/in", 100, refused);
    EXPECT_EQ(run("return #f:read('*a'), f:read(1), f:read('*l')"),
              refused ? "4990||nil" : "90||nil");
}

} // namespace
