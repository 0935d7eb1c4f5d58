#include "Util/ConsoleArgs.h"

#include "Core/Environment.h"
#include "support/test.h"

namespace {

using qz::ConsoleArgs;
using Strings = std::vector<std::string>;

Strings tokens(const ConsoleArgs& args) {
    Strings all;
    for (int i = 0; i < static_cast<int>(args.size()); ++i) {
        all.push_back(args[i]);
    }
    return all;
}

TEST(ConsoleArgs, GroupsValuesByOption) {
    const Strings given{"prog", "a", "-x", "1", "2", "-y", "-", "b", "--x", "c", "-x", "", "3"};
    const ConsoleArgs args(given);
    EXPECT_EQ(tokens(args), given);
    EXPECT_EQ(args.getAllValues(""), (Strings{"prog", "a"}));
    EXPECT_EQ(args.getAllValues("-x"), (Strings{"1", "2", "", "3"}));
    EXPECT_EQ(args.getAllValues("-"), Strings{"b"});
    EXPECT_EQ(args.getAllValues("--x"), Strings{"c"});
    EXPECT_EQ(args.getAllValues("-y"), Strings());
    EXPECT_EQ(args.getAllValues("-z"), Strings());
    EXPECT_EQ(args.getUnknown({"-y", "a", "--x"}), (Strings{"-x", "-"}));
    EXPECT_EQ(args["-x"], "1");
    EXPECT_EQ(args["-y"], "");
    EXPECT_EQ(args["-z"], "");
    EXPECT_EQ(args.indexOf("-x"), 2);
    EXPECT_EQ(args.indexOf("-z"), -1);
    EXPECT_TRUE(args.defined("3"));
    for (const int beyond : {-1, 13, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(messageOf([&] { args[beyond]; }), "Invalid console arguments");
    }
}

TEST(ConsoleArgs, IsMadeInManyWays) {
    EXPECT_EQ(ConsoleArgs().size(), 0U);
    EXPECT_EQ(tokens(ConsoleArgs("-a")), Strings{"-a"});
    EXPECT_EQ(ConsoleArgs("-a", "b")["-a"], "b");
    EXPECT_EQ(ConsoleArgs({"-a", "b"})[1U], "b");
    EXPECT_THROW(ConsoleArgs({"-a", "b"})[~std::uint64_t{0}], qz::InvalidConsoleArgsException);
    EXPECT_EQ(ConsoleArgs("-a", "b", "c").getAllValues("-a"), (Strings{"b", "c"}));
    const ConsoleArgs own(SYS_argc(), SYS_argv());
    EXPECT_EQ(own[0], SYS_argv()[0]);
    ConsoleArgs copy("x");
    copy = own;
    EXPECT_EQ(tokens(copy), tokens(own));
    EXPECT_EQ(copy[""], own[0]);

    const char* const arguments[] = {"prog", "", "b", nullptr};
    EXPECT_EQ(ConsoleArgs(1, arguments).size(), 1U);
    EXPECT_EQ(ConsoleArgs(0, arguments).size(), 0U);
    EXPECT_EQ(ConsoleArgs(-5, nullptr).size(), 0U);
    const char* const message = "Failed to parse console arguments";
    EXPECT_EQ(messageOf([&] { ConsoleArgs(3, arguments); }), message);
    EXPECT_EQ(messageOf([&] { ConsoleArgs(2, arguments + 2); }), message);
    EXPECT_EQ(messageOf([&] { ConsoleArgs(1, nullptr); }), message);
}

TEST(ConsoleArgs, ReadsNumbersAsAWhole) {
    int integer = 0;
    double real = 0;
    ConsoleArgs("-x", "+7").getOptionalInt("-x", integer);
    EXPECT_EQ(integer, 7);
    ConsoleArgs("-x", "2147483647").getOptionalInt("-x", integer);
    EXPECT_EQ(integer, 2147483647);
    ConsoleArgs("-x", "+1.5e3").getOptionalDouble("-x", real);
    EXPECT_EQ(real, 1500);
    for (const std::string text :
         {"", "+", "+-1", "12x", " 12", "12 ", "0x10", "nan", "1e999", "1,5"}) {
        const ConsoleArgs args("-x", text);
        EXPECT_EQ(messageOf([&] { args.getOptionalInt("-x", integer, 9); }),
                  "Failed to parse \"-x\" integer argument: \"" + text + "\"");
        EXPECT_EQ(messageOf([&] { args.getOptionalDouble("-x", real); }),
                  "Failed to parse \"-x\" double argument: \"" + text + "\"");
    }
    EXPECT_NE(messageOf([&] { ConsoleArgs("-x", "2147483648").getOptionalInt("-x", integer); }),
              "");
    EXPECT_EQ(integer, 2147483647);
    EXPECT_EQ(real, 1500);
}

TEST(ConsoleArgs, OptionalValuesGoByTokens) {
    const ConsoleArgs args("-x", "word");
    int integer = 1;
    double real = 2;
    std::string text = "untouched";
    args.getOptionalInt("-absent", integer);
    args.getOptionalString("-absent", text);
    EXPECT_EQ(integer, 1);
    EXPECT_EQ(text, "untouched");
    args.getOptionalInt("-absent", integer, 5);
    args.getOptionalDouble("-absent", real, 0.5);
    EXPECT_EQ(integer, 5);
    EXPECT_EQ(real, 0.5);
    args.getOptionalString("word", text); // only a value: present, but without values of its own
    EXPECT_EQ(text, "");
    EXPECT_NE(messageOf([&] { args.getOptionalInt("word", integer); }), "");
}

TEST(ConsoleArgs, RemovesTokens) {
    const Strings given{"prog", "-a", "1", "2", "-b", "-a", "3"};
    const std::pair<int, Strings> cases[] = {
        {-1, {"prog", "-b", "-a", "3"}}, {0, given},      {2, {"prog", "2", "-b", "-a", "3"}},
        {4, {"prog", "-a", "3"}},        {100, {"prog"}}, {-2, given},
    };
    for (const auto& [count, left] : cases) {
        ConsoleArgs args(given);
        args.removeKey("-a", count);
        EXPECT_EQ(tokens(args), left) << count;
        EXPECT_EQ(args.getAllValues("-a"), Strings());
    }
    ConsoleArgs args(given);
    args.removeKey("-c", -1);
    EXPECT_EQ(tokens(args), given);
    args.pop();
    EXPECT_EQ(args[0], "-a");
    EXPECT_EQ(args[""], "prog"); // the options are not parsed again
    ConsoleArgs().pop();
}

} // namespace
