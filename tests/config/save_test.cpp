// Saving: the layout, and that what is saved reads back as the same tree.
#include "config/describe.h"
#include "support/vfs_file.h"

#include <cfloat>
#include <fstream>

namespace {

TEST(ConfigSave, HasOneLayout) {
    ConfigParser parser;
    EXPECT_EQ(saved(parser), "");
    ASSERT_TRUE(parser.parse("a=1;b{c=-5;d{e=0x10;}}l={1,{2.0,\"\\\"\"},{'a'}};", 0));
    const std::string text =
        replaced("a = 1;|b|{|    c = -5;|    d|    {|        e = 16;|    }|}|", "|", "\n") +
        "l = {1, {2.0, \"\\\"\"}, {97}};\n";
    EXPECT_EQ(saved(parser), text);
    EXPECT_FALSE(parser.save());

    const fs::path directory = freshDirectory();
    const std::string file = (directory / "\xc3\xa4.cfg").string();
    ASSERT_TRUE(parser.save(file));
    ASSERT_TRUE(parser.parse(file));
    EXPECT_EQ(saved(parser), text);
    parser.find("a").set(2);
    ASSERT_TRUE(parser.save());
    EXPECT_EQ(saved(parser).substr(0, 9), "a = 2;\nb\n");
    ConfigParser other;
    ASSERT_TRUE(other.parse(file));
    EXPECT_EQ(other.find("a").getInt(), 2);
    EXPECT_EQ(countIn(directory), 1);
}

TEST(ConfigSave, WritesEveryValueSoThatItReadsBack) {
    std::mt19937_64 random(1);
    ConfigParser parser;
    for (const double real : {0.0, -0.0, 1.0, 1e9, 123456789012.0, 1e-5, 1e22, DBL_MAX, -DBL_MAX,
                              DBL_MIN, DBL_TRUE_MIN, 0.1, 100000.0, 9999999999.5}) {
        parser.end().insert("r", real);
    }
    for (const int integer : {0, -1, INT_MAX, INT_MIN}) {
        parser.end().insert("i", integer);
    }
    std::string bytes;
    for (int code = 0; code < 256; ++code) {
        bytes += static_cast<char>(code);
    }
    parser.end().insert("s", bytes);
    for (int i = 0; i < 2000; ++i) {
        const auto bits = random();
        double real = 0;
        std::memcpy(&real, &bits, sizeof real);
        parser.end().insert("r", std::isfinite(real) ? real : 1.0);
        parser.end().insert("i", static_cast<int>(bits));
        std::string text;
        for (auto count = random() % 20; count > 0; --count) {
            text += "\\\"'?\n\r\t/*x\xff"[random() % 12];
        }
        parser.end().insert("s", text);
    }
    ConfigParser copy;
    ASSERT_TRUE(parse(copy, replaced(saved(parser), "\n", "\r\n")));
    EXPECT_EQ(saved(copy), saved(parser));
    for (auto left = parser.begin(), right = copy.begin(); !left.isEnd(); ++left, ++right) {
        ASSERT_EQ(left.getType(), right.getType());
        if (left.getType() == ConfigParser::iterator::kReal) {
            // The largest, rounded to ten digits, could not be read.
            ASSERT_NEAR(left.getDouble() / 2, right.getDouble() / 2,
                        std::abs(left.getDouble()) * 5.1e-10);
        } else {
            ASSERT_EQ(describeValue(left), describeValue(right));
        }
    }
}

TEST(ConfigSave, RefusesWhatCannotBeReadBack) {
    const fs::path file = freshDirectory() / "kept.cfg";
    writeFile(file, "kept");
    const auto refuses = [&](void (*change)(ConfigParser&)) {
        ConfigParser parser;
        parser.parse("a = 1; b { c = 1; } l = {1};", 0);
        change(parser);
        char* buffer = nullptr;
        int length = 0;
        const bool refused = !parser.save(&buffer, length) && !parser.save(file.string()) &&
                             !parser.saveEdited(&buffer, length) &&
                             !parser.saveEdited(file.string());
        return refused && buffer == nullptr && readFile(file) == "kept";
    };
    using P = ConfigParser;
    EXPECT_TRUE(refuses([](P& p) { p.find("b").begin().erase(); }));
    EXPECT_TRUE(refuses([](P& p) { p.find("l").begin().erase(); }));
    EXPECT_TRUE(refuses([](P& p) { p.end().insertBlock("empty"); }));
    EXPECT_TRUE(refuses([](P& p) { p.find("a").set(std::numeric_limits<double>::infinity()); }));
    EXPECT_TRUE(refuses([](P& p) { p.find("a").set(std::nan("")); }));
    EXPECT_TRUE(refuses([](P& p) { p.find("b").setName("no identifier"); }));
    EXPECT_TRUE(refuses([](P& p) { p.end().insert("", 1); }));
    EXPECT_TRUE(refuses([](P& p) { p.end().insert("1a", 1); }));
    ConfigParser parser;
    EXPECT_FALSE(parser.parse("a = 1.0 / 0;", 0));
}

TEST(ConfigSave, ReplacesAFileInOneStep) {
    const fs::path directory = freshDirectory();
    const fs::path file = directory / "settings.cfg";
    writeFile(file, "old = 1;\r\n");
    fs::permissions(file, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    ConfigParser parser;
    ASSERT_TRUE(parser.parse("a = 1;", 0));
    EXPECT_TRUE(parser.save(file.string()));
    EXPECT_EQ(readFile(file), "a = 1;\r\n");
    EXPECT_NE(fs::status(file).permissions() & fs::perms::owner_write, fs::perms::none);
    EXPECT_FALSE(parser.save(directory.string()));
    EXPECT_FALSE(parser.save((directory / "none" / "a.cfg").string()));
    EXPECT_FALSE(parser.save(""));
    const std::string withNul = file.string() + std::string("\0x", 2);
    EXPECT_FALSE(parser.save(withNul));
    EXPECT_EQ(parser.getSaveResult(), ConfigParser::kFileFailed);
    EXPECT_FALSE(parser.saveEdited(withNul));
    EXPECT_EQ(parser.getSaveResult(), ConfigParser::kFileFailed);
    EXPECT_FALSE(parser.parse(withNul));
    EXPECT_EQ(parser.getErrorLine(), -1);
    EXPECT_EQ(readFile(file), "a = 1;\r\n");
    EXPECT_EQ(countIn(directory), 1);
}

TEST(ConfigSave, RemovesWhatKilledProcessesLeft) {
    fs::current_path(freshDirectory());
    const bool isWindows = fs::path::preferred_separator == '\\';
    const std::string left = isWindows ? "a.cfg.qzsave-12345-0" : "a.cfg.qzsave-2";
    for (const std::string& name : {left, "a.cfg.qzsave-notes"s, "a.cfg.qzsave-1-2.txt"s}) {
        writeFile(name, "");
    }
    {
        const File living = openWrite(left); // of a process that is still writing it
        EXPECT_TRUE(save("a.cfg"));
        EXPECT_TRUE(fs::exists(left));
    }
    EXPECT_TRUE(save("b.cfg"));
    EXPECT_TRUE(fs::exists(left)) << "left by another file's save";
    EXPECT_TRUE(save("a.cfg"));
    EXPECT_FALSE(fs::exists(left));
    EXPECT_EQ(countIn("."), 4) << "others have similar names";
}

TEST(ConfigSave, TakesEveryNameThatTheSystemTakes) {
    fs::current_path(freshDirectory());
    const std::string name(250, 'n');
    if (!std::ofstream(name)) {
        GTEST_SKIP() << "the path would be too long";
    }
    EXPECT_TRUE(save(name));
    EXPECT_EQ(countIn("."), 1);
}

} // namespace
