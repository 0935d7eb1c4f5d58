#include "VFS/Binary.h"
#include "support/memory_file.h"

namespace {

std::uint64_t mbint(const std::string& bytes) {
    MemoryFile in(bytes);
    return VFS_get_mbint(&in);
}

TEST(VfsBinary, NumbersAreLittleEndianInOneAccess) {
    MemoryFile out;
    EXPECT_EQ(VFS_put_uint8(&out, 0xFE), 1U);
    EXPECT_EQ(VFS_put_uint16(&out, 0xFEDC), 2U);
    EXPECT_EQ(VFS_put_uint32(&out, 0xFEDCBA98), 4U);
    EXPECT_EQ(VFS_put_uint64(&out, 0xFEDCBA9876543210), 8U);
    EXPECT_EQ(out.accesses, 4);
    EXPECT_EQ(out.bytes, "\xFE\xDC\xFE\x98\xBA\xDC\xFE\x10\x32\x54\x76\x98\xBA\xDC\xFE");

    MemoryFile in(out.bytes);
    EXPECT_EQ(VFS_get_uint8(&in), 0xFEU);
    EXPECT_EQ(VFS_get_uint16(&in), 0xFEDCU);
    EXPECT_EQ(VFS_get_uint32(&in), 0xFEDCBA98U);
    EXPECT_EQ(VFS_get_uint64(&in), 0xFEDCBA9876543210U);
    EXPECT_EQ(in.accesses, 4);

    MemoryFile cut("\x12\x34\x56");
    EXPECT_EQ(VFS_get_uint32(&cut), 0x563412U);
}

constexpr std::uint64_t kGreatest = std::numeric_limits<std::uint64_t>::max();

TEST(VfsBinary, MbintsTakeTheBytesTheyNeed) {
    const std::pair<std::uint64_t, std::string> cases[] = {
        {0, "\0"s},
        {127, "\x7F"},
        {128, "\x80\x01"},
        {16383, "\xFF\x7F"},
        {16384, "\x80\x80\x01"},
        {kGreatest, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"},
    };
    for (const auto& [value, bytes] : cases) {
        MemoryFile out;
        EXPECT_EQ(VFS_put_mbint(&out, value), 1U);
        EXPECT_EQ(out.bytes, bytes) << value;
        EXPECT_EQ(out.accesses, static_cast<int>(bytes.size()));
        EXPECT_EQ(mbint(bytes), value);
    }
    EXPECT_EQ(mbint(""), 0U);
    EXPECT_EQ(mbint("\x85"), 5U) << "cut off";
    // The bits of overlong numbers wrap around to the low bits.
    EXPECT_EQ(mbint(std::string(10, '\x80') + "\x05"), 5U << 6) << "70 bits are 6";
    EXPECT_EQ(mbint(std::string(10, '\xFF') + "\x01"), kGreatest);
    EXPECT_EQ(mbint(std::string(9, '\x80') + "\x03"), std::uint64_t{1} << 63) << "no 65th bit";
    EXPECT_EQ(mbint("\x81" + std::string(63, '\x80') + "\x02"), 3U) << "448 bits are 0";
}

TEST(VfsBinary, StringsAreCutToTheBufferAndLeftBehindWhole) {
    MemoryFile out;
    EXPECT_EQ(VFS_put_string(&out, "hello", 5), 5U);
    EXPECT_EQ(VFS_put_string(&out, "", 0), 0U);
    EXPECT_EQ(VFS_put_string(&out, "a\0b", 3), 3U);
    EXPECT_EQ(out.bytes, "\x05hello\0\x03"
                         "a\0b"s);
    for (const std::string kept : {"", "hel", "hell", "hello"}) {
        MemoryFile in(out.bytes);
        std::vector<char> buffer(kept.size() + 1, 'x');
        EXPECT_EQ(VFS_get_string(&in, buffer.data(), buffer.size()), 5U);
        EXPECT_EQ(buffer.data(), kept);
        EXPECT_EQ(in.position, 6U);
    }
    MemoryFile in(out.bytes);
    char text[8] = "xxxxxxx";
    EXPECT_EQ(VFS_get_string(&in, nullptr, 8), 5U);
    EXPECT_EQ(VFS_get_string(&in, text, 0), 0U);
    EXPECT_EQ(text[0], 'x');
    EXPECT_EQ(VFS_get_string(&in, text, sizeof text), 3U);
    EXPECT_EQ(std::string(text, 5), "a\0b\0x"s);
}

// Whatever a length says, the reader moves forwards, and to the file's end if it can go no further.
TEST(VfsBinary, LengthsThatLieLeadToTheEnd) {
    const std::pair<std::uint64_t, std::size_t> cases[] = {
        {9, 10}, // behind the end of the file: where the string would have ended
        {std::uint64_t{1} << 50, 15},
        {std::uint64_t{1} << 63, 15},
        {kGreatest - 3, 15},
    };
    for (const auto& [length, end] : cases) {
        MemoryFile in;
        VFS_put_mbint(&in, length);
        in.bytes.resize(length == 9 ? 6 : 15, 'b');
        char text[4];
        EXPECT_EQ(VFS_get_string(&in, text, sizeof text), length);
        EXPECT_STREQ(text, "bbb");
        EXPECT_EQ(in.position, end) << length;
    }
    MemoryFile failing("\x05hello");
    failing.fails = true;
    char text[8] = "old";
    EXPECT_EQ(VFS_get_string(&failing, text, sizeof text), 0U);
    EXPECT_STREQ(text, "");
}

TEST(VfsBinary, NullFilesAreLoggedForEachAccess) {
    LogCapture log;
    char text[4] = "old";
    EXPECT_EQ(VFS_put_uint32(nullptr, 1) + VFS_put_string(nullptr, "x", 1), 0U);
    EXPECT_EQ(VFS_get_uint64(nullptr), 0U);
    EXPECT_EQ(VFS_get_string(nullptr, text, sizeof text), 0U);
    EXPECT_STREQ(text, "");
    Lines expected(3, "VFS_write(NULL)");
    expected.resize(6, "VFS_read(NULL)");
    EXPECT_EQ(log.messages(), expected);
}

} // namespace
