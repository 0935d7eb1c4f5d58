// Walking and changing the tree.
#include "config/describe.h"

#include <list>

namespace {

using iterator = ConfigParser::iterator;

struct ConfigTree : ::testing::Test {
    void SetUp() override {
        ASSERT_TRUE(parser.parse("b { i = 3; r = 1.5; } s = \"text\"; l = {\"x\", \"y\"};"
                                 " e = {1, \"y\"}; b { i = 4; }",
                                 0));
    }

    std::string tree() { return describe(parser.begin()); }

    ConfigParser parser;
};

TEST_F(ConfigTree, IsWalked) {
    const iterator block = parser.begin();
    EXPECT_EQ(block, parser.find("b"));
    EXPECT_EQ(block.name(), "b");
    EXPECT_EQ(block.getType(), 1);
    EXPECT_EQ(block.find("i").getInt(), 3);
    EXPECT_EQ(block.find("i").getType(), 2);
    EXPECT_TRUE(block.find("r").isLast());
    EXPECT_EQ(parser.find("i"), parser.end());
    EXPECT_EQ(++block.find("r"), block.end());
    iterator entry = block;
    EXPECT_EQ(entry++, block);
    EXPECT_NE(entry, block);
    EXPECT_EQ(*entry, *parser.find("s"));
    const iterator list = parser.find("l");
    EXPECT_EQ(list.getType(), 5);
    EXPECT_EQ(list.begin().name(), "");
    EXPECT_EQ(list.find(""), list.end());
    EXPECT_EQ(entry.begin(), entry.end());

    // No call at an end goes out of bounds.
    iterator end = parser.end();
    EXPECT_EQ(++end, parser.end());
    EXPECT_EQ(*end, nullptr);
    EXPECT_FALSE(end.isLast());
    EXPECT_EQ(end.getType(), 0);
    EXPECT_TRUE(end.begin().find("x").begin().isEnd());
    EXPECT_FALSE(end.setInt(1));
    EXPECT_FALSE(end.setName("a"));
    EXPECT_EQ(end.erase(), end);
    EXPECT_TRUE(iterator().insert("a", 1).isEnd());
    EXPECT_TRUE(iterator().isEnd());
}

TEST_F(ConfigTree, FindsAndSetsByPaths) {
    ASSERT_TRUE(parser.parse("g { l = {{1, 2}, {3}}; l = 9; s = \"x\"; } b { i = 1; }", 0));
    EXPECT_EQ(parser.findPath("g.l.0.1").getInt(), 2);
    EXPECT_EQ(parser.findPath("g").findPath("l.1.0").getInt(), 3);
    EXPECT_EQ(parser.findPath("g.l").findPath("0"), parser.find("g").find("l").begin());
    for (const char* path : {"", ".", "g.", ".g", "g..l", "g.l.2", "g.l.-1", "g.l.+1", "g.l. 1",
                             "g.l.x", "g.l.99999999999999999999", "g.s.x", "g.s.0", "b.l", "0"}) {
        EXPECT_EQ(parser.findPath(path), parser.end()) << path;
        EXPECT_EQ(parser.find("g").findPath(path), parser.find("g").end()) << path;
    }
    EXPECT_TRUE(parser.end().findPath("g").isEnd());
    EXPECT_TRUE(iterator().findPath("g").isEnd());

    const std::string before = tree();
    for (const char* path : {"", "g", "g.s.x", "g.l.3", "g.l.x", "g.l.2.x", "new..x", "new.1x"}) {
        EXPECT_FALSE(parser.setPath(path, 1)) << path;
    }
    EXPECT_FALSE(parser.setPath("b.i", 1LL << 40));
    EXPECT_EQ(tree(), before);
    EXPECT_TRUE(parser.setPath("g.l.0.1", 2.5) && parser.setPath("g.l.2", true) &&
                parser.setPath("b.c.d", "text") && parser.setPath("b.c.e", 0.5f) &&
                parser.setPath("b.i", 7U));
    EXPECT_EQ(tree(), "g:{l:[[1, 2.5r], [3], 1], l:9, s:\"x\"}, b:{i:7, c:{d:\"text\", e:0.5r}}");
}

// Blocks that exist count towards the depth like those that are added.
TEST_F(ConfigTree, SetsPathsAsDeepAsCanBeSaved) {
    const std::string path = "d" + repeated(".d", 255);
    ASSERT_TRUE(parser.setPath(path + ".a", 1));
    EXPECT_FALSE(parser.setPath(path + ".b.a", 1) || parser.setPath("e." + path + ".a", 1));
    EXPECT_TRUE(parser.setPath(path + ".c", 1));
    EXPECT_TRUE(parse(parser, saved(parser, &ConfigParser::saveEdited)));
}

TEST_F(ConfigTree, KnowsTheLinesOfEntries) {
    ASSERT_TRUE(parser.parse("a = 1;\r\n/*\r\n*/ b\r\n{\r\n  l = {1,\r\n 2}; }\r\n", 0));
    EXPECT_EQ(parser.begin().line(), 1);
    EXPECT_EQ(parser.find("b").line(), 3);
    EXPECT_EQ(parser.findPath("b.l.0").line(), 5);
    EXPECT_EQ(parser.findPath("b.l.1").line(), 6);
    EXPECT_EQ(parser.end().line(), -1);
    parser.find("a").set("changed");
    EXPECT_EQ(parser.begin().line(), 1);
    EXPECT_EQ(parser.begin().insert("x", 1).line(), -1);
    ASSERT_TRUE(parser.parse("\r\n\r\na = 1;", 0));
    EXPECT_EQ(parser.begin().line(), 3);
}

TEST_F(ConfigTree, ReadsValuesByTheirTypes) {
    const iterator integer = parser.begin().find("i");
    const iterator real = parser.begin().find("r");
    const iterator string = parser.find("s");
    int i = 7;
    double d = 0;
    float f = 0;
    bool b = false;
    std::string s;
    EXPECT_TRUE(integer.get(i) && integer.get(d) && integer.get(f) && integer.get(b));
    EXPECT_EQ(std::tuple(i, d, f, b), std::tuple(3, 3.0, 3.0F, true));
    i = 7;
    EXPECT_FALSE(integer.get(s) || real.get(i) || real.get(b) || string.get(d) || string.get(i));
    EXPECT_FALSE(parser.begin().get(i) || parser.end().get(s) || parser.find("l").get(s));
    EXPECT_EQ(i, 7);
    EXPECT_EQ(real.getDouble(), 1.5);
    EXPECT_EQ(integer.getFloat(), 3.0f);
    EXPECT_TRUE(integer.getBool());
    EXPECT_EQ(string.getString(), "text");
    try {
        string.getInt();
        FAIL();
    } catch (const ConfigParser::Error& error) {
        EXPECT_EQ(std::tuple(error.message, error.line, error.column), std::tuple(""s, -1, -1));
    }

    std::list<std::string> texts = {"old"};
    EXPECT_TRUE(parser.find("l").getList<std::string>(texts));
    EXPECT_EQ(texts, (std::list<std::string>{"x", "y"}));
    EXPECT_FALSE(parser.find("e").getList<std::string>(texts));
    EXPECT_FALSE(parser.find("s").getList<std::string>(texts));
    std::vector<int> numbers;
    EXPECT_FALSE(parser.find("e").getList<int>(numbers));
    EXPECT_EQ(numbers, std::vector<int>{1});
}

template<class T>
constexpr bool kCanSet = requires(iterator entry, T value) {
    entry.set(value);
};
static_assert(kCanSet<std::nullptr_t> && kCanSet<char*> && kCanSet<std::vector<bool>::reference>);
static_assert(!kCanSet<const unsigned char*> && !kCanSet<wchar_t*>);

TEST_F(ConfigTree, IsChanged) {
    iterator block = parser.begin();
    EXPECT_FALSE(block.set(1));
    EXPECT_TRUE(block.find("i").set(u8"literal"));
    EXPECT_TRUE(block.find("r").set(true));
    EXPECT_TRUE(parser.setPath("b.u", u8"path"));
    block.begin().insert("v", u8"first");
    EXPECT_TRUE(block.setName("c"));
    EXPECT_TRUE(parser.find("l").set(-7L) && parser.find("l").set(7U));
    EXPECT_FALSE(parser.find("l").set(1LL << 40) || parser.find("l").set(~0ULL));
    EXPECT_TRUE(parser.find("l").insert("big", 3'000'000'000U).isEnd());
    EXPECT_NE(tree().find("l:7,"), std::string::npos) << tree();
    EXPECT_TRUE(parser.find("l").set(2.0f));
    EXPECT_TRUE(parser.find("s").set(std::string(1000, 'x')));
    EXPECT_TRUE(parser.find("s").set(std::string("\0", 1)));
    EXPECT_FALSE(parser.find("s").set(static_cast<const char*>(nullptr)));
    EXPECT_FALSE(parser.find("e").begin().setName("n"));
    EXPECT_EQ(tree(), "c:{v:\"first\", i:\"literal\", r:1, u:\"path\"}, s:\"" +
                          std::string(1, '\0') + "\", l:2r, e:[1, \"y\"], b:{i:4}");
}

TEST_F(ConfigTree, GrowsAndShrinks) {
    iterator made = parser.begin().insertBlock("new");
    EXPECT_EQ(made, parser.begin());
    EXPECT_EQ(made.begin(), made.end());
    made.end().insert("a", 1);
    made.end().insert("c", "text");
    made.begin().insert("b", 2.5);
    made.end().insert("d", true);
    made.end().insert("f", 0.5f);
    made.end().insert("s", std::string("s"));
    iterator list = parser.find("l");
    list.begin().insertInt(1);
    list.end().insertString("z");
    list.end().insertDouble(0.5);
    list.end().insertBool(true);
    list.end().insertFloat(2.0f);
    EXPECT_TRUE(list.begin().insert("named", 1).isEnd());
    EXPECT_TRUE(parser.begin().insertInt(1).isEnd());
    EXPECT_EQ(tree(), "new:{b:2.5r, a:1, c:\"text\", d:1, f:0.5r, s:\"s\"}, b:{i:3, r:1.5r}, "
                      "s:\"text\", l:[1, \"x\", \"y\", \"z\", 0.5r, 1, 2r], e:[1, \"y\"], b:{i:4}");
    EXPECT_EQ(parser.begin().erase(), parser.find("b"));
    EXPECT_EQ(parser.begin().erase(), parser.find("s"));
    iterator last = parser.find("b");
    EXPECT_TRUE(last.erase().isEnd());
    EXPECT_TRUE(parser.find("e").isLast());
    list = parser.find("l");
    while (!list.begin().isEnd()) {
        list.begin().erase();
    }
    list.end().insertInt(5);
    EXPECT_EQ(tree(), "s:\"text\", l:[5], e:[1, \"y\"]");
    parser.reset();
    EXPECT_TRUE(parser.begin().isEnd());
    parser.end().insert("a", 1);
    EXPECT_EQ(tree(), "a:1");
    EXPECT_FALSE(parser.parse("?", 0));
    EXPECT_EQ(tree(), "");
}

} // namespace
