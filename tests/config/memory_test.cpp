// Memory that runs out in the middle of a call.
#include "config/describe.h"

#include "support/failing_new.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace qz::test {

namespace {

const std::string kText = "a = (1 + 2) * 3;\r\nb\r\n{\r\n    s = \"one\\ttwo\";\r\n}\r\n"
                          "l = {1, {2}, \"3\"};\r\n";

const std::string kLong(300, 'x'); // longer than what a std::string has room for in itself

std::string editedText(ConfigParser& parser) {
    char* buffer = nullptr;
    int length = 0;
    const bool isSaved = parser.saveEdited(&buffer, length);
    const std::unique_ptr<char[]> owned(buffer);
    return isSaved ? buffer : "cannot be saved";
}

// Makes a call with a parser of the text, whose first allocation fails, then the second, and so on
// until none is left to fail; then looks at what the call left.
template<class Call, class Prepare, class Look>
void exhaust(Call call, Prepare prepare, Look look) {
    for (const auto how : {FailingNew::How::once, FailingNew::How::fromThenOn}) {
        bool hasFailed = true;
        for (int count = 0; hasFailed; ++count) {
            ConfigParser parser;
            ASSERT_TRUE(parse(parser, kText));
            prepare(parser);
            const std::string before = editedText(parser);
            bool isDone = false;
            {
                const FailingNew memory(count, how);
                isDone = call(parser);
                hasFailed = memory.hasFailed();
            }
            EXPECT_TRUE(isDone || hasFailed) << count;
            look(parser, isDone, before);
            EXPECT_TRUE(hasFailed || count > 0) << "nothing could fail";
        }
    }
}

constexpr auto asParsed = [](ConfigParser&) {};

TEST(ConfigMemory, ChangesAreMadeOrNot) {
    const std::function<bool(ConfigParser&)> changes[] = {
        [](ConfigParser& p) { return p.find("a").setName(kLong); },
        [](ConfigParser& p) { return p.find("a").set(kLong); },
        [](ConfigParser& p) { return p.find("l").set(kLong); },
        [](ConfigParser& p) { return !p.begin().insert(kLong, 1).isEnd(); },
        [](ConfigParser& p) { return !p.begin().insert("x", 1.5).isEnd(); },
        [](ConfigParser& p) { return !p.find("b").end().insert(kLong, kLong).isEnd(); },
        [](ConfigParser& p) { return !p.find("l").begin().insertInt(1).isEnd(); },
        [](ConfigParser& p) { return !p.find("l").end().insertString(kLong).isEnd(); },
        [](ConfigParser& p) { return !p.end().insertBlock(kLong).isEnd(); },
        [](ConfigParser& p) { return p.setPath("b.x.y.z", kLong); },
        [](ConfigParser& p) { return p.setPath("l.3", 1.5); },
    };
    for (const auto& change : changes) {
        exhaust(change, asParsed,
                [&](ConfigParser& parser, bool isMade, const std::string& before) {
                    if (!isMade) {
                        EXPECT_EQ(editedText(parser), before);
                        EXPECT_TRUE(change(parser)) << "there is memory again";
                    }
                    EXPECT_NE(editedText(parser), before);
                });
    }
}

TEST(ConfigMemory, ErasingNeedsNone) {
    ConfigParser parser;
    ASSERT_TRUE(parse(parser, kText));
    ConfigParser::iterator item = parser.find("l").begin();
    {
        const FailingNew memory(0, FailingNew::How::fromThenOn);
        item.erase();
        parser.begin().erase();
    }
    EXPECT_EQ(editedText(parser), "b\r\n{\r\n    s = \"one\\ttwo\";\r\n}\r\nl = {{2}, \"3\"};\r\n");
}

TEST(ConfigMemory, ParsingLeavesAllOrNothing) {
    const std::string file = (freshDirectory() / "settings.cfg").string();
    std::ofstream(file, std::ios::binary) << kText;
    const std::function<bool(ConfigParser&)> calls[] = {
        [](ConfigParser& p) { return parse(p, kText); },
        [&](ConfigParser& p) { return p.parse(file); },
    };
    for (const auto& call : calls) {
        exhaust(call, asParsed,
                [&](ConfigParser& parser, bool isParsed, const std::string& before) {
                    ConfigParser::Error error;
                    EXPECT_TRUE(parser.getLastError(error));
                    EXPECT_EQ(error.message, isParsed ? "" : "Out of memory");
                    EXPECT_EQ(error.line, -1);
                    EXPECT_EQ(editedText(parser), isParsed ? before : "");
                    EXPECT_TRUE(call(parser)) << "there is memory again";
                });
    }
}

TEST(ConfigMemory, SavingThrowsNothing) {
    const std::string file = (freshDirectory() / "settings.cfg").string();
    char* buffer = nullptr;
    int length = 0;
    const std::function<bool(ConfigParser&)> calls[] = {
        [&](ConfigParser& p) { return p.save(file); },
        [&](ConfigParser& p) { return p.saveEdited(file); },
        [&](ConfigParser& p) { return p.save(&buffer, length); },
        [&](ConfigParser& p) { return p.saveEdited(&buffer, length); },
    };
    const auto prepare = [](ConfigParser& parser) {
        parser.find("a").set(1);
        parser.find("l").begin().erase();
        parser.find("l").end().insertString(kLong);
    };
    for (const auto& call : calls) {
        exhaust(call, prepare, [&](ConfigParser& parser, bool isSaved, const std::string& before) {
            EXPECT_EQ(editedText(parser), before);
            EXPECT_TRUE(isSaved || buffer == nullptr);
            delete[] std::exchange(buffer, nullptr);
        });
    }
}

} // namespace

} // namespace qz::test
