// Input that is made to break the parser gives an error or a tree, in linear time, on a bounded
// stack. Code that is not linear exceeds the time limit of the tests.
#include "config/describe.h"

namespace {

constexpr std::size_t kMany = 1'000'000;

// A list, or blocks, of that depth.
std::string lists(std::size_t depth) {
    return "a=" + repeated("{", depth) + "1" + repeated("}", depth) + ";";
}

std::string blocks(std::size_t depth) {
    return repeated("a{", depth) + "b=1;" + repeated("}", depth);
}

TEST(ConfigHostile, NestingIsLimited) {
    EXPECT_EQ(parsed(lists(257)), "Error@258 line 1");
    EXPECT_EQ(parsed(blocks(257)), "Error@513 line 1");
    EXPECT_EQ(parsed("a=" + repeated("{", kMany)), "Error@258 line 1");
    EXPECT_EQ(parsed(repeated("a{", kMany)), "Error@513 line 1");
    EXPECT_EQ(parsed(blocks(kMany)), "Error@513 line 1");
    EXPECT_EQ(parsed("a=" + repeated("(", kMany)), "End Of File@-1 line -1");
    EXPECT_EQ(parsed("a=" + repeated("-(", kMany) + "1" + repeated(")", kMany) + ";"), "a:1");
    EXPECT_EQ(parsed("a=" + repeated("1+(", kMany) + ";"), "Error@3000002 line 1");
}

TEST(ConfigHostile, WhatReadsDeepIsSavedDeep) {
    ConfigParser parser;
    for (const std::string& text : {lists(256), blocks(256)}) {
        ASSERT_TRUE(parse(parser, text));
        ASSERT_NE(saved(parser), "failed");
        parser.begin().erase();
    }
    // A tree deeper than can be read can be made, destroyed and erased, but not saved.
    for (auto block = parser.end().insertBlock("a"); !block.isEnd();) {
        for (std::size_t i = 0; i < kMany; ++i) {
            block = block.end().insertBlock("a");
        }
        block.end().insert("b", 1);
        break;
    }
    EXPECT_EQ(saved(parser), "failed");
    EXPECT_EQ(saved(parser, &ConfigParser::saveEdited), "failed");
    parser.begin().erase();
    EXPECT_TRUE(parser.begin().isEnd());
}

TEST(ConfigHostile, MegabytesOfOneThing) {
    EXPECT_EQ(parsed(std::string(20 * kMany, ' ')), "");
    EXPECT_EQ(parsed(std::string(kMany, ' ') + "?"), "@1000000 line -1");
    EXPECT_EQ(parsed(std::string(kMany, 'a')), "End Of File@-1 line -1");
    EXPECT_EQ(parsed("a=0x" + std::string(kMany, 'g')), "Error@3 line 1");
    EXPECT_EQ(parsed("a=0x" + std::string(kMany, '0') + "1;"), "a:1");
    EXPECT_EQ(parsed("a=" + std::string(kMany, '0') + "1;"), "a:1");
    EXPECT_EQ(parsed("a=" + std::string(kMany, '9') + ";"), "Error@2 line 1");
    EXPECT_EQ(parsed("a=0." + std::string(kMany, '3') + ";"), "a:0.3333333333r");
    EXPECT_EQ(parsed("a=\"" + std::string(kMany, '\\') + "\";").size(), kMany / 2 + 4);
    EXPECT_EQ(parsed("a=\"" + std::string(kMany, 'x')), "@2 line -1");
    EXPECT_EQ(parsed(std::string(kMany, '\0')), "@0 line -1");
    EXPECT_EQ(parsed("a=1" + repeated("*1", kMany) + ";"), "a:1");
    // Each of these may begin a comment or text that does not end.
    EXPECT_EQ(parsed(repeated("/* ", kMany)), "Error@0 line 1");
    EXPECT_EQ(parsed(repeated("//", kMany)), "Error@0 line 1");
    EXPECT_EQ(parsed(repeated("'", kMany + 1)).substr(0, 1), "@");
}

TEST(ConfigHostile, ManyChangesBehindALongIndentation) {
    ConfigParser parser;
    ASSERT_TRUE(parse(parser, std::string(kMany / 5, ' ') + repeated("a{b=1;} ", kMany / 50)));
    for (auto block = parser.begin(); !block.isEnd(); ++block) {
        block.begin().erase();
        block.end().insert("c", 2);
        (++block).insert("d", 3);
    }
    EXPECT_NE(saved(parser, &ConfigParser::saveEdited), "failed");
}

} // namespace
