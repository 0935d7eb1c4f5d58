// Reading settings into variables, and the messages about mistakes.
#include "Config/SettingsReader.h"
#include "config/describe.h"

#include <list>

namespace {

using qz::SettingsReader;

using Read = std::function<void(const SettingsReader&)>;

// The report on a text after some reading, without the file's name; "|" stands for the end of a
// line in both.
std::string reported(const std::string& text, const Read& read) {
    ConfigParser parser;
    const SettingsReader reader(parser, "f", replaced(text, "|", "\r\n").c_str(), 0);
    read(reader);
    return replaced(reader.report(), "\n", "|");
}

TEST(SettingsReader, ReadsWhatIsThere) {
    const Read readAll = [](const SettingsReader& reader) {
        const auto read = [&](const char* path, auto value, auto... range) {
            EXPECT_TRUE(reader.read(path, value, range...)) << path;
            return value;
        };
        EXPECT_EQ(read("port", 1, 1, 65535), 8000);
        EXPECT_EQ(read("small", std::uint16_t{2}), 65535);
        EXPECT_EQ(read("rate", 3.0, 1, 120), 20);
        EXPECT_EQ(read("g.scale", 4.0F), 0.5F);
        EXPECT_EQ(read("numbers", std::vector<int>{7}), (std::vector<int>{1, 2}));
        EXPECT_EQ(read("tables", std::list<Lines>()), (std::list<Lines>{{"a"}, {"b", "c"}}));
        bool isOn = false;
        EXPECT_TRUE(reader.block("g").read("on", isOn) && isOn);
        std::string name = "default";
        EXPECT_FALSE(reader.read("g.name", name) || reader.read("g.scale.", name));
        EXPECT_FALSE(reader.block("none").read("name", name));
        EXPECT_EQ(name, "default");
        EXPECT_EQ(reader.find("first").begin().getInt(), 5);
    };
    EXPECT_EQ(reported("port = 8000; small = 65535; rate = 20; g { scale = 0.5; on = true; }"
                       "numbers = {1, 2}; tables = {{\"a\"}, {\"b\", \"c\"}}; first = {5, \"x\"};",
                       readAll),
              "");
}

TEST(SettingsReader, TellsWhatIsWrongWithValues) {
    const auto into = [](auto value, auto... range) {
        return [=](const SettingsReader& reader) {
            auto read = value;
            EXPECT_FALSE(reader.read("a.b", read, range...));
            EXPECT_EQ(read, value) << "is left alone";
        };
    };
    const std::tuple<std::string, Read, std::string> cases[] = {
        {"\"8000\"", into(1), "a whole number, not a text"},
        {"1.5", into(1), "a whole number, not 1.5"},
        {"0", into(1, 1, 9), "a whole number from 1 to 9, not 0"},
        {"10", into(1, 1, 9), "a whole number from 1 to 9, not 10"},
        {"-1", into(std::uint8_t{7}), "a whole number from 0 to 255, not -1"},
        {"-1", into(1U), "a whole number of at least 0, not -1"},
        {"-1", into(std::uint64_t{1}), "a whole number of at least 0, not -1"},
        {"7", into(std::int64_t{1}, INT64_MIN, 6), "a whole number of at most 6, not 7"},
        {"2147483647", into(1LL, 5'000'000'000, 6'000'000'000),
         "a whole number of at least 5000000000, not 2147483647"},
        {"-2147483648", into(1LL, -6'000'000'000, -5'000'000'000),
         "a whole number of at most -5000000000, not -2147483648"},
        {"{1}", into(1.5), "a number, not a list"},
        {"0.1", into(1.5, 0.25, 1), "a number from 0.25 to 1, not 0.1"},
        {"1.0e300", into(1.5F),
         "a number from -3.4028234663852886e+38 to 3.4028234663852886e+38, not 1e+300"},
        {"1.0e39", into(1.5F, 0, 1e300), "a number from 0 to 3.4028234663852886e+38, not 1e+39"},
        {"1.0e-55", into(1.5F, 1e-60, 1), "a number from 1e-60 to 1, not 1e-55"},
        {"2", into(true), "true or false, not 2"},
        {"7", into(std::string("x")), "a text, not 7"},
        {"7", into(std::vector<int>{1}), "a list, not 7"},
    };
    for (const auto& [value, read, problem] : cases) {
        EXPECT_EQ(reported("a {| b = " + value + ";|}", read), "f:2: a.b must be " + problem + "|");
    }
    EXPECT_EQ(reported("a { b = {1,| \"x\",| 2.5}; }", into(std::vector<int>{1})),
              "f:2: a.b.1 must be a whole number, not a text|"
              "f:3: a.b.2 must be a whole number, not 2.5|");
    EXPECT_EQ(reported("a = 1;",
                       [&](const SettingsReader& reader) {
                           into(1)(reader);
                           into(2)(reader);
                           EXPECT_TRUE(reader.blocks("a").empty());
                       }),
              "f:1: a must be a block, not 1|");
}

TEST(SettingsReader, TellsWhatNobodyReads) {
    int number = 0;
    const Read readSome = [&](const SettingsReader& reader) {
        reader.read("rate", number);
        reader.read("g.x", number);
        reader.read("l.0", number);
        reader.find("whole");
    };
    EXPECT_EQ(
        reported("g { x = 1;| x = 2;| y = 3;| }|rat = 1; l = {1, 2}; whole { x = 1; }|g { x = 1; }"
                 "|rate = 1; rate = 2; |rat = 2;",
                 readSome),
        "f:2: g.x is there already, in line 1|f:3: g.y is no setting|"
        "f:5: rat is no setting|f:5: l.1 is no setting|f:6: g is there already, in line 1|"
        "f:7: rate is there already, in line 7|f:8: rat is no setting|");
    EXPECT_EQ(number, 1);
    EXPECT_EQ(reported("", readSome), "");

    // A required block counts as asked for, but not the entries in it. It may still be no block.
    EXPECT_EQ(reported("a = 1; l = {1}; b { x = 1; }|c = 1;",
                       [&](const SettingsReader& reader) {
                           for (const char* path : {"", "a", "l", "b", "c"}) {
                               EXPECT_TRUE(reader.require(path));
                           }
                           reader.block("c");
                       }),
              "f:1: b.x is no setting|f:2: c must be a block, not 1|");
}

TEST(SettingsReader, ReadsBlocksOfOneName) {
    std::string names;
    EXPECT_EQ(reported("log {| out { name = \"a\"; }| out { mane = \"b\"; }| out = 1; }|"
                       "out { l = {3, 4}; }",
                       [&](const SettingsReader& reader) {
                           names.clear();
                           for (const SettingsReader& out : reader.blocks("log.out")) {
                               std::string name;
                               out.require("name");
                               out.read("name", name);
                               names += name + ",";
                           }
                           reader.require("log.none.x");
                           reader.block("log").block("none").require("y");
                           const std::vector<SettingsReader> outs = reader.blocks("out");
                           ASSERT_EQ(outs.size(), 1U);
                           for (const SettingsReader& item : outs[0].items("l")) {
                               item.addProblem("", "is not liked");
                           }
                       }),
              "f:1: log.none.x is missing|f:1: log.none.y is missing|f:3: log.out.name is missing|"
              "f:3: log.out.mane is no setting|f:4: log.out must be a block, not 1|"
              "f:5: out.l.0 is not liked|f:5: out.l.1 is not liked|");
    EXPECT_EQ(names, "a,,");
}

// Reports this one problem, whatever is read or missing afterwards.
TEST(SettingsReader, TellsWhyAFileCannotBeRead) {
    const Read read = [](const SettingsReader& reader) {
        int number = 7;
        EXPECT_FALSE(reader.require("a") || reader.read("b", number));
        EXPECT_EQ(number, 7);
    };
    EXPECT_EQ(reported("a = 1;|b = 2", read), "f: the file ends too early|");
    EXPECT_EQ(reported("a = 1;|b = ;", read),
              "f:2: unexpected text at offset 12; \"qz conf check\" shows the spot|");
    EXPECT_EQ(
        reported("a = #;", read),
        "f: nothing begins with the character at offset 4; \"qz conf check\" shows the spot|");
    EXPECT_EQ(reported("a = 1; // \n", read),
              "f: a line ends in a line feed alone, not in CR LF, at offset 10; "
              "\"qz conf fix-eol\" mends that|");
    ConfigParser parser;
    const SettingsReader reader(parser, "there is no such file");
    ASSERT_EQ(reader.problems().size(), 1U);
    EXPECT_EQ(reader.problems()[0].message(), "there is no such file: " + parser.getErrorText());
    EXPECT_TRUE(parser.getErrorText().starts_with("cannot be read: "));
}

} // namespace
