#include "Core/Utf8.h"
#include "support/test.h"

namespace {

struct Decoded {
    std::uint32_t codePoint;
    std::ptrdiff_t consumed;

    friend bool operator==(const Decoded&, const Decoded&) = default;
};

// Decodes in a buffer of exactly the text's size, so that address checkers see a byte too many.
Decoded decode(std::string_view bytes) {
    const std::vector<char> exact(bytes.begin(), bytes.end());
    const char* position = exact.data();
    const std::uint32_t codePoint = UTF8_getc(&position, exact.size());
    return {codePoint, position - exact.data()};
}

TEST(Utf8, DecodesInTheOrderThatStoredDataRelyOn) {
    const std::pair<std::string, Decoded> cases[] = {
        {"A", {0x41, 1}},
        {"\xC3\xA9", {0xE9, 2}},
        {"\xE2\x82\xAC", {0x2B02, 3}},
        {"\xF0\x9F\x98\x80", {0x1F | 0x18 << 6, 4}},
        {"", {0, 0}},
        {std::string(1, 0), {0, 1}},
        {"\x80", {63, 1}},
        {"\xC3-", {63, 2}},
        {std::string("\xC3\0", 2), {0, 2}},
        {"\xE2\x82", {0, 2}},
        {"\xFE\x81\x80\x80\x80\x80\x80", {1, 7}},
        {"\xFF\x81\x80\x80\x80\x80\x80\x80", {1, 8}},
    };
    for (const auto& [bytes, expected] : cases) {
        EXPECT_EQ(decode(bytes), expected) << bytes;
    }
}

std::string encode(std::uint32_t codePoint, std::size_t room) {
    std::string bytes(room + 1, '#');
    char* position = bytes.data();
    const std::size_t written = UTF8_putc(&position, room, codePoint);
    EXPECT_EQ(position, bytes.data() + written);
    EXPECT_EQ(bytes.substr(written), std::string(room + 1 - written, '#'));
    return bytes.substr(0, written);
}

TEST(Utf8, EncodesWithinItsRoom) {
    EXPECT_EQ(encode(0x20AC, 2), "");
    EXPECT_EQ(encode(0x20AC, 3), "\xE2\x82\xAC");
    EXPECT_EQ(encode(0x7F, 1), "\x7F");
    EXPECT_EQ(encode(0x80, 4), "\xC2\x80");
    EXPECT_EQ(encode(0xD800, 4), "\xED\xA0\x80");
    EXPECT_EQ(encode(0xFFFF, 4), "\xEF\xBF\xBF");
    EXPECT_EQ(encode(0x10000, 4), "\xF0\x90\x80\x80");
    EXPECT_EQ(encode(0x1FFFFF, 4), "\xF7\xBF\xBF\xBF");
    EXPECT_EQ(encode(0x200000, 4), "?");
    EXPECT_EQ(encode(0x41, 0), "");
}

TEST(Utf8, CountsCharactersAndStopsAtTheTerminator) {
    EXPECT_EQ(UTF8_strlen(""), 0u);
    EXPECT_EQ(UTF8_strlen("aé€😀"), 4u);
    EXPECT_EQ(UTF8_strlen("\x80\x80"), 2u);
    EXPECT_EQ(UTF8_strlen("a\xF0\x9F"), 2u);
    EXPECT_EQ(UTF8_strlen("\xE2"), 1u);
}

} // namespace
