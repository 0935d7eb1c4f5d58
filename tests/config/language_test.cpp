// What the parser reads, as which values, and where it fails.
#include "config/describe.h"

namespace {

// What the value of `a` parses to, or where in `a = <value>;` it fails.
std::string value(const std::string& text) {
    const std::string whole = parsed("a = " + text + ";");
    return whole.starts_with("a:") ? whole.substr(2) : whole;
}

TEST(ConfigLanguage, ReadsAWholeFile) {
    expectEach(parsed, " => ", " \t\r\n// nothing\r\n/* at all */ => ",
               "true = false; a=1;a=2; => true:0, a:1, a:2");
    EXPECT_EQ(parsed("graphics {\r\n"
                     "\twidth = 1024; // of the window\r\n"
                     "    height = 0x300; gamma = 2.2;\r\n"
                     "    fullscreen = true; /* not\r\n here */ area = 640 * 480;\r\n"
                     "    ratio = (16 + 0.0) / 9;\r\n"
                     "    title = \"a \\\"test\\\"\";\r\n"
                     "    colors = { {255, 0, 0}, {0, 255, 0} };\r\n"
                     "    audio { volume = 80; }\r\n"
                     "}\r\n_last1 = 'x';"),
              "graphics:{width:1024, height:768, gamma:2.2r, fullscreen:1, area:307200, "
              "ratio:1.777777778r, title:\"a \"test\"\", colors:[[255, 0, 0], [0, 255, 0]], "
              "audio:{volume:80}}, _last1:120");
}

TEST(ConfigLanguage, ReadsNumbers) {
    expectEach(value, "007 => 7", "0X1f => 31", "0xFFFFFFFF => -1", "2147483647 => 2147483647",
               "-2147483648 => -2147483648", "2.0e3 => 2000r", "2.5E-1 * 4 => 1r", "1.0e+2 => 100r",
               "1 /* a */ . 5 => 1.5r", "1.0e999999999999999999999 => Error@4 line 1",
               "1 - 1.0e200 * 1.0e200 => Error@4 line 1", "0.0 / 0 => Error@4 line 1",
               "1.0e-999999999999999999999 => 0r",
               // A text that begins as a number fails where the number ends.
               "0x1G => Error@5 line 1", "0 x1 => Error@6 line 1", "1.5e => Error@8 line 1",
               "1.5e3x => Error@7 line 1", ".5 => Error@4 line 1", "5. => Error@6 line 1",
               "1e5 => Error@5 line 1");
    EXPECT_EQ(value("0." + std::string(400, '0') + "1e401"), "1r");
    EXPECT_EQ(value("1" + std::string(400, '0') + ".0"), "Error@4 line 1");
    // Numbers that do not fit.
    for (const char* text : {"2147483648", "-2147483649", "0x100000000", "1 / 0", "0 / 0",
                             "5 + 99999999999", "99999999999999999999999999"}) {
        EXPECT_EQ(value(text).substr(0, 5), "Error") << text;
    }
    EXPECT_EQ(value("'x' + 99999999999"), "Error@4 line 1");
    EXPECT_EQ(value("3000000000 - 2999999999"), "1");
}

TEST(ConfigLanguage, EvaluatesExpressions) {
    expectEach(value, "7 / 2 => 3", "-7 / 2 => -3", "5 / 2 * 2 => 5", "2 + 3 * 4 - 6 / 2 => 11",
               "(2 + 3) * -(4 - 6) => 10", "2 * -3 + +1 => -5", "8 - 4 - 2 => 2", "-((1)) => -1",
               "'a' + true => 98", "1 + 0.0 => 1r", "-0.0 => -0r", "--1 => Error@5 line 1",
               "1 + => Error@7 line 1", "(1 => Error@6 line 1", "1) => Error@5 line 1",
               "() => Error@5 line 1", "1 + \"a\" => Error@8 line 1");
}

TEST(ConfigLanguage, ReadsQuotedText) {
    expectEach(value, "'' => 0", "'\\n' => 10", "'\\'' => 39", "'\xff' => -1",
               "'ab' => Error@4 line 1", "'\\q' => Error@4 line 1", "\"\" => \"\"",
               "\"// a\n\t/* { \" => \"// a\n\t/* { \"");
    EXPECT_EQ(value(R"("\a\b\f\n\r\t\v\'\"\\\?")"), "\"\a\b\f\n\r\t\v'\"\\?\"");
    EXPECT_EQ(value(R"("\\n")"), "\"\\n\"");
    EXPECT_EQ(value(R"("a\q")"), "Error@4 line 1");
    const std::string anyBytes("\0\xff", 2);
    EXPECT_EQ(value("\"" + anyBytes + "\""), "\"" + anyBytes + "\"");
}

TEST(ConfigLanguage, IsStrict) {
    expectEach(
        parsed, "a = 1 => End Of File@-1 line -1", "a = 1; b => End Of File@-1 line -1",
        "a { => End Of File@-1 line -1", "a = ; => Error@4 line 1", "a = 1, 2; => Error@5 line 1",
        "a = {}; => Error@5 line 1", "a = {1,}; => Error@7 line 1", "a { } => Error@4 line 1",
        "a { b = 1; }; => Error@12 line 1", "1a = 1; => Error@0 line 1", "a = b; => Error@4 line 1",
        "a = 1;\r\nb {\r\n c = ,;\r\n} => Error@18 line 3",
        // Characters that nothing begins with: reported without a line, and before any other
        // mistake.
        "a = ;\r\n# => @7 line -1", "a = 1;\nb = 2; => @6 line -1", "a = 1;\rb = 2; => @6 line -1",
        "a = \"b; => @4 line -1", "a = '\\'; => @4 line -1", "a = \xe4; => @4 line -1",
        // A comment that does not end is not one.
        "a = 1; /* b => Error@7 line 1", "a = 1; // b => Error@7 line 1");
    EXPECT_EQ(parsed(std::string("a = 1;\0", 7)), "@6 line -1");
}

TEST(ConfigLanguage, TakesTextWithAndWithoutLength) {
    ConfigParser parser;
    EXPECT_TRUE(parser.parse("a = 1; b = 2;", 6));
    EXPECT_EQ(describe(parser.begin()), "a:1");
    EXPECT_TRUE(parser.parse("a = 1; b = 2;", 0));
    EXPECT_EQ(describe(parser.begin()), "a:1, b:2");
    EXPECT_FALSE(parser.parse(nullptr, 0));
    EXPECT_TRUE(parser.begin().isEnd());
}

TEST(ConfigLanguage, ReadsFiles) {
    LogCapture log;
    const fs::path file = freshDirectory() / "settings.cfg";
    ConfigParser parser;
    writeFile(file, "a = 1;\r\nb = 2 3;\r\n");
    EXPECT_FALSE(parser.parse(file.string()));
    EXPECT_EQ(std::pair(parser.getErrorLine(), parser.getErrorColumn()), std::pair(2, 14));
    writeFile(file, "a = 1;\r\n\r\n  ?\r\n");
    EXPECT_FALSE(parser.parse(file.string()));
    ConfigParser::Error error;
    EXPECT_TRUE(parser.getLastError(error));
    EXPECT_EQ(std::tuple(error.message, error.line, error.column), std::tuple(""s, 3, 12));
    writeFile(file, "");
    EXPECT_TRUE(parser.parse(file.string()));
    EXPECT_EQ(parser.getErrorLine(), -1);
    EXPECT_EQ(log.messages(), Lines());

    const std::string missing = (file.parent_path() / "none.cfg").string();
    EXPECT_FALSE(parser.parse(missing));
    EXPECT_FALSE(parser.parse(file.parent_path().string()));
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].module, "QZCORE");
    EXPECT_EQ(lines[0].message, "LexicalAnalyser: Cannot open " + missing);
    EXPECT_TRUE(parser.getLastError(error));
    EXPECT_EQ(error.column, -1);
}

} // namespace
