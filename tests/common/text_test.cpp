#include "Common/Text.h"
#include "support/test.h"

namespace {

TEST(Text, IsMadeAndCutInCharacters) {
    EXPECT_EQ(Common::uni2mbstr(0x20AC), "€");
    EXPECT_EQ(Common::uni2mbstr(0), std::string(1, '\0'));
    using Common::utf8_substr;
    EXPECT_EQ(utf8_substr("aé€😀z", 1, 3), "é€😀");
    EXPECT_EQ(utf8_substr("aé", 0, 100), "aé");
    EXPECT_EQ(utf8_substr("aé", 5, 1), "");
    EXPECT_EQ(utf8_substr("\342ab", 0, 1), "\342") << "a sequence broken by another byte";
    EXPECT_EQ(utf8_substr(std::string("ab\0cd", 5), 1, 4), "b");
    EXPECT_EQ(utf8_substr("abc", 1, SIZE_MAX), "bc");
}

struct Conversions : ::testing::Test {
    ~Conversions() override { Common::iconv_local_exit(); }
};

constexpr char kRussian[] = "Съешь ещё этих мягких французских булок, да выпей же чаю.";
constexpr char kGreek[] = "Ξεσκεπάζω την ψυχοφθόρα βδελυγμία.";
constexpr char kJapanese[] = "いろはにほへと ちりぬるを 色は匂へど散りぬるを";

TEST_F(Conversions, LeaveTextAloneBeforeTheyAreOpen) {
    EXPECT_EQ(Common::iconv_local_from_utf8(kRussian), kRussian);
    EXPECT_EQ(Common::iconv_local_to_utf8("\xCF"), "\xCF");
    EXPECT_EQ(Common::iconv_utf8_to_wchar(kRussian), L"");
    EXPECT_EQ(Common::iconv_utf8_from_wchar(L"text"), "");
    Common::iconv_local_init("no such character set");
    for (const std::string& empty : {""s, " "s, "//TRANSLIT"s, " /IGNORE"s, ",#"s, "\0UTF-7"s}) {
        Common::iconv_local_init(empty);
    }
    EXPECT_EQ(Common::iconv_local_from_utf8(kRussian), kRussian);
    EXPECT_EQ(Common::iconv_utf8_to_wchar("a"), L"a");
}

TEST_F(Conversions, RoundTripRealTexts) {
    const std::tuple<const char*, const char*, std::size_t> cases[] = {
        {"windows-1251", kRussian, 57}, {"KOI8-R", kRussian, 57},  {"ISO-8859-7", kGreek, 34},
        {"SHIFT_JIS", kJapanese, 46},   {"EUC-JP", kJapanese, 46}, {"ISO-2022-JP", kJapanese, 64},
        {"utf-8", "emoji 😀 too", 14}};
    for (const auto& [charset, sample, localSize] : cases) {
        Common::iconv_local_init(charset);
        const std::string text = repeated(sample, 100); // characters across buffers' ends
        const std::string local = Common::iconv_local_from_utf8(text);
        EXPECT_EQ(Common::iconv_local_from_utf8(sample).size(), localSize) << charset;
        EXPECT_EQ(Common::iconv_local_to_utf8(local), text) << charset;
        EXPECT_EQ(Common::iconv_utf8_from_wchar(Common::iconv_utf8_to_wchar(kJapanese)), kJapanese);
        Common::iconv_local_exit();
    }
}

TEST_F(Conversions, TurnWhatTheyCannotConvertIntoQuestionMarks) {
    Common::iconv_local_init("ISO-8859-7");
    EXPECT_EQ(Common::iconv_local_from_utf8("αЖβ"), "\xE1??\xE2") << "one for each byte";
    EXPECT_EQ(Common::iconv_local_from_utf8("a\xE2\x82"), "a??") << "cut short";
    std::string text, result;
    for (std::size_t i = 0; i < 3000; ++i) { // each character at each place of a buffer
        text += i % 41 == 0 ? "α€Ж" : "Ж";
        result += i % 41 == 0 ? "\xE1\xA4??" : "??";
    }
    EXPECT_EQ(Common::iconv_local_from_utf8(text), result);
    EXPECT_EQ(Common::iconv_local_from_utf8("\xFF\xC0\xAFz"), "???z");
    EXPECT_EQ(Common::iconv_local_to_utf8("a\xFF"), "a?") << "unassigned";
    EXPECT_EQ(Common::iconv_utf8_to_wchar("a😀b"), L"a\uFFFDb");
    EXPECT_EQ(Common::iconv_utf8_to_wchar("\xF0\x9F\x98"), L"???");
    EXPECT_EQ(Common::iconv_utf8_to_wchar("\xF4\x90\x80\x80"), L"????") << "beyond Unicode";
    const std::wstring lone{L'a', static_cast<wchar_t>(0xD83D), L'b'};
    EXPECT_EQ(Common::iconv_utf8_from_wchar(lone), "a?b");
}

TEST_F(Conversions, WriteQuestionMarksAsTheSetDoes) {
    for (const char* charset : {"ISO-2022-JP", "UTF-16LE", "UTF-16", "UTF-7"}) {
        Common::iconv_local_init(charset);
        const std::string local = Common::iconv_local_from_utf8("\xFF日\xFF本\xFF\xFF語\xFF");
        EXPECT_EQ(Common::iconv_local_to_utf8(local), "?日?本??語?") << charset;
        Common::iconv_local_exit();
    }
    Common::iconv_local_init("ASCII//IGNORE");
    EXPECT_EQ(Common::iconv_local_from_utf8("0123456789€abcdefgh"), "0123456789abcdefgh");
}

} // namespace
