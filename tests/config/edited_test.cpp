// saveEdited: what was not changed stays as it was written.
#include "config/describe.h"

namespace {

using Change = std::function<void(ConfigParser&)>;

// Parses the text, changes the tree, and returns the saved text. "|" stands for the end of a line.
std::string edited(const std::string& text, const Change& change) {
    ConfigParser parser;
    EXPECT_TRUE(parse(parser, replaced(text, "|", "\r\n")));
    change(parser);
    const std::string result = saved(parser, &ConfigParser::saveEdited);
    if (result != "failed") {
        EXPECT_EQ(parsed(result), describe(parser.begin())) << result;
    }
    return replaced(result, "\r\n", "|");
}

// Expects results of a change: each case is "text => result".
template<class... Cases>
void expectEdited(const Change& change, const Cases&... cases) {
    expectEach([&](const std::string& text) { return edited(text, change); }, cases...);
}

constexpr char kSample[] = "// Settings|"
                           "|"
                           "width = 0x400;   // wide|"
                           "\tratio = 16 / 9.0;|"
                           "audio|{|    volume = 80; /* loud */|    on = true;|}|"
                           "colors = { {255, 0, 0},|           {0, 255, 0} }; // RGB|";

TEST(ConfigEdited, LeavesEverythingElseAlone) {
    EXPECT_EQ(edited(kSample, [](ConfigParser&) {}), kSample);
    EXPECT_EQ(edited(kSample,
                     [](ConfigParser& p) {
                         p.find("width").set(1024); // as it was
                         p.find("audio").find("on").set(true);
                     }),
              kSample);
    const std::string changed = edited(kSample, [](ConfigParser& p) {
        p.find("width").set(640);
        p.find("ratio").setName("aspect");
        p.find("audio").find("volume").set("max");
        (++p.find("colors").begin().begin()).set(-0.5);
    });
    EXPECT_EQ(changed, "// Settings||width = 640;   // wide|\taspect = 16 / 9.0;|"
                       "audio|{|    volume = \"max\"; /* loud */|    on = true;|}|"
                       "colors = { {255, -0.5, 0},|           {0, 255, 0} }; // RGB|");
    expectEdited([](ConfigParser& p) { p.find("a").set(1); }, "a = {1, 2}; => a = 1;");
    EXPECT_EQ(edited("a = {1};",
                     [](ConfigParser& p) {
                         p.find("a").begin().set(1700000000123.0);
                         for (const double real : {0.1, 1.0 / 3, 1e22, -5e-324}) {
                             p.find("a").end().insertDouble(real);
                         }
                     }),
              "a = {1700000000123.0, 0.1, 0.3333333333333333, 1.0e+22, -5.0e-324};");
    expectEdited([](ConfigParser& p) { p.end().insert("a", 1); }, " => a = 1;|",
                 "/* a */ => /* a */|a = 1;|");
}

TEST(ConfigEdited, InsertsEntriesWhereTheirNeighboursAre) {
    expectEdited(
        [](ConfigParser& p) { (++p.begin()).insert("x", 1); },
        "a = 1; // one|// two|b = 2;| => a = 1; // one|x = 1;|// two|b = 2;|",
        "\ta = 1; => \ta = 1;|\tx = 1;", "a = 1; b = 2; => a = 1; x = 1; b = 2;",
        "a = 1; /* | */ b = 2; => a = 1; x = 1; /* | */ b = 2;",
        // The new entry goes behind the comments of the entry before, in front of the next one's.
        "a = 1; // one|       // more|// two|b = 2;| => "
        "a = 1; // one|       // more|x = 1;|// two|b = 2;|",
        // A line that is indented deeper only continues a comment that begins in the entry's line.
        "a = 1;|  // two|b = 2;| => a = 1;|x = 1;|  // two|b = 2;|",
        "\ta = 1; // one|        // two|\tb = 2;| => "
        "\ta = 1; // one|\tx = 1;|        // two|\tb = 2;|",
        "a = 1;|// one||// two|b = 2;| => a = 1;|// one|x = 1;||// two|b = 2;|");
    expectEdited([](ConfigParser& p) { p.begin().end().insert("x", 1); },
                 "b {| a = 1; /* one| more */| // c = 2;|}| => "
                 "b {| a = 1; /* one| more */| // c = 2;| x = 1;|}|");
    expectEdited(
        [](ConfigParser& p) {
            const bool isBlock = p.begin().getType() == ConfigParser::iterator::kBlock;
            (isBlock ? p.begin().begin() : p.begin()).insert("x", 1);
        },
        "// File||// one|/* { */ a = 1;| => // File||x = 1;|// one|/* { */ a = 1;|",
        "b /* { */ { // of b| // one| a = 1;|}| => b /* { */ { // of b| x = 1;| // one| a = 1;|}|",
        "b { /* one */ a = 1; } => b { x = 1; /* one */ a = 1; }", "a = 1; => x = 1;|a = 1;",
        "b { a = 1; } => b { x = 1; a = 1; }");
    expectEdited([](ConfigParser& p) { p.begin().begin().erase().insert("x", 1); },
                 "b { c = 1; // c|  // one|  a = 1; } => b { // c|  x = 1;|  // one|  a = 1; }");
    expectEdited(
        [](ConfigParser& p) {
            auto block = p.begin().end().insertBlock("c");
            block.end().insert("x", 1);
            block.end().insert("y", 2);
        },
        "b|{|  a = 1;|}| => b|{|  a = 1;|  c|  {|      x = 1;|      y = 2;|  }|}|");
    expectEdited(
        [](ConfigParser& p) {
            p.begin().begin().erase().insert("x", 1);
            p.begin().end().insert("y", 2);
        },
        " b|{| a = 1; // one|}| =>  b|{| // one|     x = 1;|     y = 2;|}|",
        "b { a = 1; } => b { x = 1; y = 2; }");
}

TEST(ConfigEdited, ErasesEntriesWithTheirLines) {
    const auto without = [](const std::string& name) {
        return [name](ConfigParser& p) { p.find(name).erase(); };
    };
    expectEdited(without("b"), "a = 1;|  b = 2; |c = 3; => a = 1;|c = 3;",
                 "a = 1;|  b = 2; // two|c = 3; => a = 1;|  // two|c = 3;",
                 "a = 1; b = 2; c = 3; => a = 1; c = 3;", "a = 1;|b|{| c = 1;|}| => a = 1;|");
    expectEdited(without("c"), "a = 1; b = 2; c = 3; => a = 1; b = 2;");
    expectEdited([](ConfigParser& p) { p.begin().erase().erase(); },
                 "a = 1; b = 2;|c = 3; => c = 3;");
}

TEST(ConfigEdited, KeepsTheCommasOfListsRight) {
    // Erases the items whose bits are set in `erased`, then inserts 8 and 9 before `position`.
    const auto change = [](unsigned int erased, int position) {
        return [erased, position](ConfigParser& p) {
            auto item = p.begin().begin();
            for (unsigned int bit = 1; !item.isEnd(); bit *= 2) {
                (erased & bit) != 0 ? item = item.erase() : ++item;
            }
            item = p.begin().begin();
            for (int i = 0; i < position; ++i) {
                ++item;
            }
            if (position >= 0) {
                item.insertInt(8);
                item.insertInt(9);
            }
        };
    };
    expectEdited(change(1, -1), "a = {1, 2, 3}; => a = {2, 3};");
    expectEdited(change(2, -1), "a = {1, 2, 3}; => a = {1, 3};",
                 "a = {|  1, // one, 1|  2, // two|  3|}; => a = {|  1, // one, 1|  // two|  3|};",
                 "a = {|  1,|  2,|  3|}; => a = {|  1,|  3|};");
    expectEdited(change(4, -1), "a = {1, 2, 3}; => a = {1, 2};");
    expectEdited(change(7, 0), "a = {1, 2, 3}; => a = {8, 9};");
    // Lists over several lines keep their layout.
    expectEdited(change(0, 0), "a = {1, 2}; => a = {8, 9, 1, 2};",
                 "a = {|  // one|  1,|  2|}; => a = {|  8,|  9,|  // one|  1,|  2|};",
                 "a = {|  1, 2,|  3|}; => a = {|  8, 9, 1, 2,|  3|};");
    expectEdited(change(0, 1), "a = {1, 2}; => a = {1, 8, 9, 2};",
                 "a = {|  1, // one|  2|}; => a = {|  1, // one|  8,|  9,|  2|};");
    expectEdited(change(3, 0), "a = {|  1, // one|  2|}; => a = {|  // one|  8,|  9|};",
                 "a = {|  1,|  2 }; => a = {|  8,|  9};");
    expectEdited(change(0, 2),
                 "a = {|  1,|  2 // two|  // end|}; => "
                 "a = {|  1,|  2, // two|  // end|  8,|  9|};",
                 "a = {|  1, // one|  2 }; => a = {|  1, // one|  2,|  8,|  9 };");
    expectEdited(change(2, 1), "a = {|  1, // one|  2|}; => a = {|  1, // one|  8,|  9|};");
    expectEdited(change(0, 3), "a = {|  1, 2,|  3|}; => a = {|  1, 2,|  3, 8, 9|};");
    // After any change the text says what the tree says: `edited` checks that.
    for (const char* text :
         {"a = {1,{2},\"3\",4};", "a = { 1 , /*,*/ 2 /*,*/,|3// ,|,|4 };", "a = {|1|,|2|,|3|,|4|};",
          "a = {|1,|2 , //,|3/**/,|//,|4};", "a = {|//,|1, // ,|2,|/*,*/ 3,|4 };"}) {
        for (unsigned int erased = 0; erased < 16; ++erased) {
            for (int position = -1; position < 5; ++position) {
                const bool isEmpty = erased == 15 && position < 0;
                EXPECT_EQ(edited(text, change(erased, position)) == "failed", isEmpty);
            }
        }
    }
}

TEST(ConfigEdited, IsSavedToItsFileUnlessSomebodyElseHasWrittenIt) {
    const std::string file = (freshDirectory() / "settings.cfg").string();
    const std::string theirs = "a = 1;\r\nb = 2;\r\n";
    ConfigParser parser;
    EXPECT_FALSE(parser.saveEdited());
    writeFile(file, "a = 1; // one\r\n");
    ASSERT_TRUE(parser.parse(file));
    for (int i = 2; i < 4; ++i) {
        parser.find("a").set(i);
        ASSERT_TRUE(parser.saveEdited());
        EXPECT_EQ(readFile(file), "a = " + std::to_string(i) + "; // one\r\n");
    }
    writeFile(file, theirs);
    EXPECT_FALSE(parser.saveEdited());
    EXPECT_FALSE(parser.saveEdited(file));
    EXPECT_EQ(parser.getSaveResult(), ConfigParser::kFileChanged);
    EXPECT_EQ(parser.getSaveText(), "somebody has changed the file since it was read");
    EXPECT_EQ(readFile(file), theirs);
    EXPECT_FALSE(parser.saveEdited(file + "/none"));
    EXPECT_EQ(parser.getSaveResult(), ConfigParser::kFileFailed);
    EXPECT_TRUE(parser.saveEdited(file + ".copy"));
    fs::remove(file);
    EXPECT_TRUE(parser.saveEdited()) << "nothing can be lost";

    // A file that cannot be read does not count as changed by somebody else.
    fs::remove(file);
    fs::create_directory(file);
    LogCapture log;
    EXPECT_FALSE(parser.saveEdited());
    EXPECT_EQ(parser.getSaveResult(), ConfigParser::kFileFailed);
    EXPECT_TRUE(log.take().empty());
}

// Entries of the file that are not in the tree would be lost.
TEST(ConfigEdited, LeavesAloneWhatItHasNotRead) {
    const std::string file = (freshDirectory() / "settings.cfg").string();
    writeFile(file, "a = 1;\r\n");
    ConfigParser parser;
    EXPECT_EQ(parser.getSaveText(), "nothing was saved yet");
    ASSERT_TRUE(parser.parse(file));
    const auto isRefused = [&](ConfigParser& config) {
        config.end().insert("b", 2);
        return !config.saveEdited(file) && config.getSaveResult() == ConfigParser::kFileUnknown &&
               readFile(file) == "a = 1;\r\n";
    };
    EXPECT_FALSE(parser.parse(file + ".none"));
    EXPECT_TRUE(isRefused(parser));
    EXPECT_TRUE(parser.saveEdited(file + ".none")) << "nothing can be lost";
    parser.end().insert("c", 3);
    EXPECT_TRUE(parser.saveEdited(file + ".none")) << "has been written by ourselves";
    writeFile(file + ".none", "theirs = 1;\r\n");
    EXPECT_FALSE(parser.saveEdited(file + ".none"));
    EXPECT_EQ(parser.getSaveResult(), ConfigParser::kFileChanged);
    ASSERT_TRUE(parser.parse(file));
    parser.reset();
    EXPECT_FALSE(parser.saveEdited());
    EXPECT_TRUE(isRefused(parser)) << "knows no file any more";
    ASSERT_TRUE(parser.parse(file));
    ASSERT_TRUE(parser.parse("c = 3;", 0));
    EXPECT_TRUE(isRefused(parser));
    EXPECT_TRUE(parser.save()) << "is told to write over anything";
    EXPECT_TRUE(parser.saveEdited()) << "has been written by ourselves";

    ConfigParser other;
    writeFile(file, "a = ;\r\n");
    EXPECT_FALSE(other.parse(file));
    writeFile(file, "a = 1;\r\n");
    EXPECT_TRUE(isRefused(other)) << "without a file that was ever read";
}

} // namespace
