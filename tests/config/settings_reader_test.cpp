// Reading settings into variables, and the messages about mistakes.
#include "Config/SettingsReader.h"
#include "support/test.h"

#include <list>

namespace {

using namespace qz::test;
using qz::SettingsReader;

using Read = std::function<void(const SettingsReader&)>;

// The report on a text after some reading, without the file's name; "|" stands for the end of a
// line in both.
std::string reported(std::string text, const Read& read) {
    for (std::size_t at = 0; (at = text.find('|', at)) != std::string::npos;) {
        text.replace(at, 1, "\r\n");
    }
    ConfigParser parser;
    const SettingsReader reader(parser, "f", text.c_str(), 0);
    read(reader);
    std::string report = reader.report();
    for (std::size_t at = 0; (at = report.find('\n', at)) != std::string::npos;) {
        report.replace(at, 1, "|");
    }
    return report;
}

TEST(SettingsReader, ReadsWhatIsThere) {
    int port = 1;
    std::uint16_t small = 2;
    double rate = 3;
    float scale = 4;
    bool isOn = false;
    std::string name = "default";
    std::vector<int> numbers = {7};
    std::list<Lines> tables;
    EXPECT_EQ(reported("port = 8000; small = 65535; rate = 20; g { scale = 0.5; on = true; }"
                       "numbers = {1, 2}; tables = {{\"a\"}, {\"b\", \"c\"}}; first = {5, \"x\"};",
                       [&](const SettingsReader& reader) {
                           EXPECT_TRUE(reader.read("port", port, 1, 65535));
                           EXPECT_TRUE(reader.read("small", small));
                           EXPECT_TRUE(reader.read("rate", rate, 1, 120));
                           EXPECT_TRUE(reader.read("g.scale", scale));
                           EXPECT_TRUE(reader.block("g").read("on", isOn));
                           EXPECT_FALSE(reader.read("g.name", name) ||
                                        reader.read("g.scale.", scale));
                           EXPECT_FALSE(reader.block("none").read("name", name));
                           EXPECT_TRUE(reader.read("numbers", numbers));
                           EXPECT_TRUE(reader.read("tables", tables));
                           EXPECT_EQ(reader.find("first").begin().getInt(), 5);
                       }),
              "");
    EXPECT_EQ(port, 8000);
    EXPECT_EQ(small, 65535);
    EXPECT_EQ(rate, 20);
    EXPECT_EQ(scale, 0.5F);
    EXPECT_TRUE(isOn);
    EXPECT_EQ(name, "default");
    EXPECT_EQ(numbers, (std::vector<int>{1, 2}));
    EXPECT_EQ(tables, (std::list<Lines>{{"a"}, {"b", "c"}}));
}

TEST(SettingsReader, TellsWhatIsWrongWithValues) {
    const auto into = [](auto value, auto... range) {
        return [=](const SettingsReader& reader) {
            auto read = value;
            EXPECT_FALSE(reader.read("a.b", read, range...));
            EXPECT_EQ(read, value) << "is left alone";
        };
    };
    const struct {
        const char* value;
        Read read;
        const char* problem;
    } cases[] = {
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
        {"1.0e300", into(1.5F), "a number, not 1e+300"},
        {"2", into(true), "true or false, not 2"},
        {"7", into(std::string("x")), "a text, not 7"},
        {"7", into(std::vector<int>{1}), "a list, not 7"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(reported(std::string("a {| b = ") + one.value + ";|}", one.read),
                  std::string("f:2: a.b must be ") + one.problem + "|");
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
    EXPECT_EQ(reader.problems()[0].message(), "there is no such file: cannot be read");
}

} // namespace
