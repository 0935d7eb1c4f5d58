#include "lua/script.h"

namespace {

struct LuaIo : ScriptInDirectory {
    // Opens a file that holds these bytes as `f` and runs code.
    std::string read(const std::string& bytes, const std::string& code) {
        writeFile("in", bytes);
        const std::string result = script_.run("f = io.open('in', 'rb') " + code);
        script_.run("f:close()"); // on Windows a file that is open cannot be written
        return result;
    }
};

TEST_F(LuaIo, OpensForReadingAndWritingOnly) {
    script_.expect(
        "io.open() => error: bad argument #1 to 'open' (requires a filename)",
        "return io.open('f', 'a+') => nil|io.open(f): only 'r' and 'w' are supported on VFS",
        "return io.open('f', '') => nil|io.open(f): only 'r' and 'w' are supported on VFS",
        "return io.open('none', 'rb') => nil|can't open \"none\" for 'rb'",
        "return io.open('none/x', 'w') => nil|can't open \"none/x\" for 'w'",
        "return io.open('.') => nil|can't open \".\" for 'r'",
        "return io.open(('x'):rep(300)) == nil => true",
        "return io.stdin, io.stdout, io.stderr, io.input, io.output, io.popen, io.tmpfile, "
        "io.type => nil|nil|nil|nil|nil|nil|nil|nil");
}

TEST_F(LuaIo, ReadsLinesWithoutCarriageReturns) {
    constexpr char kLines[] = "local t = {} for l in f:lines() do t[#t + 1] = '<' .. l .. '>' end "
                              "return table.concat(t)";
    expectEach([&](const std::string& bytes) { return read(bytes, kLines); }, "x\r\ny => <x><y>",
               " => ", "\n\na\r\rb\r => <><><ab>", "\r => <>", "a\0b\nc => <a\0b><c>"s);
    EXPECT_EQ(read("x\r\ny", "return f:read(), io.read(f, '*l'), f:read('*line')"), "x|y|nil");
    // Lines that end around the edges of the 1024 bytes read ahead.
    for (size_t length : {1022u, 1023u, 1024u, 1025u, 5000u}) {
        const std::string line(length, 'z');
        EXPECT_EQ(read(line + "\nend", "return f:read(), f:read(), f:read()"), line + "|end|nil");
    }
}

TEST_F(LuaIo, ReadsBytes) {
    EXPECT_EQ(read("", "return f:read(10), f:read(0), f:read('*a')"), "||");
    expectEach([&](const std::string& code) { return read("abc", code); },
               "return f:read(2), f:read(2), f:read(2) => ab|c|",
               "return select('#', f:read(-1)), select('#', f:read(0/0)) => 0|0",
               "return f:read(1e300) => abc", "return f:read(math.huge) => abc",
               "return f:read('*n') => error: io.read('*n') is not supported",
               "f:read('12') => error: bad argument #1 to 'read' (invalid option)",
               "return select('#', f:read('*x')), select('#', f:read('*')) => 0|0",
               // A userdata of a script's that has a file's metatable.
               "local fake = newproxy() debug.setmetatable(fake, getmetatable(f)) "
               "return select('#', fake:read(1)), select('#', fake:close()) => 0|0");
    EXPECT_EQ(read("one\n" + std::string(70000, 'q'),
                   "return f:read(), f:read(1000) == ('q'):rep(1000), #f:read('*a')"),
              "one|true|69000");
}

TEST_F(LuaIo, WritesTextAndNumbers) {
    script_.expect("local f = io.open('out', 'w') "
                   "return select('#', f:write('a\\0', 1.5, nil, {}, true, 'z')), "
                   "select('#', f:flush()), select('#', io.write(f, '!')), select('#', f:close()) "
                   "=> 0|0|0|0");
    EXPECT_EQ(readFile("out"), std::string("a\0"
                                           "1.5z!",
                                           7));
}

TEST_F(LuaIo, OnlyOpenFilesDoAnything) {
    EXPECT_EQ(read("x\ny", "local next = f:lines() next() f:close() f:close() "
                           "return select('#', f:read(1)), select('#', f:lines()), next()"),
              "0|0");
    script_.expect("return select('#', io.read()), select('#', io.write('x')), "
                   "select('#', io.lines('.')), select('#', io.close({})), "
                   "select('#', io.read(newproxy())) => 0|0|0|0|0");
}

TEST_F(LuaIo, CollectedFilesAreClosed) {
    script_.expect("do local f = io.open('out', 'w') f:write('x') end "
                   "collectgarbage() collectgarbage() return io.open('out', 'w') ~= nil => true");
}

TEST_F(LuaIo, ClosingTheStateClosesFilesThatHaveNoFinalizer) {
    const std::string open = "f = io.open('out', 'w') ";
    for (const std::string& code :
         {open + "getmetatable(f).__gc = nil", open + "debug.setmetatable(f, nil)",
          "p = newproxy(true) getmetatable(p).__gc = function() " + open + "f:write('x') end"}) {
        Script().run(code);
        EXPECT_EQ(script_.run(open + "local opened = f ~= nil if f then f:close() end "
                                     "return opened"),
                  "true")
            << code;
    }
}

TEST_F(LuaIo, FileThatShrinksWhileItIsRead) {
    writeFile("in", std::string(5000, 'x'));
    script_.run("f = io.open('in') f:read(10)");
    std::error_code refused; // on Windows a file that is being read keeps its size
    fs::resize_file("in", 100, refused);
    EXPECT_EQ(script_.run("return #f:read('*a'), f:read(1), f:read('*l')"),
              refused ? "4990||nil" : "90||nil");
}

} // namespace
