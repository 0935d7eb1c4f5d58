#include "VFS/Binary.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
using qz::test::LogCapture;

// A file in memory that counts the accesses.
struct MemoryFile {
    VFS_File base{&kOps};
    std::string bytes;
    std::size_t position = 0;
    int accesses = 0;
    bool fails = false;

    explicit MemoryFile(std::string contents = {}) : bytes(std::move(contents)) {}

    VFS_File* file() { return &base; }

    static MemoryFile& of(VFS_File* file) { return *reinterpret_cast<MemoryFile*>(file); }

    static std::size_t read(VFS_File* file, void* buffer, std::size_t count) {
        MemoryFile& self = of(file);
        ++self.accesses;
        if (self.fails) {
            return std::numeric_limits<std::size_t>::max();
        }
        const std::size_t start = std::min(self.position, self.bytes.size());
        const std::size_t done = std::min(count, self.bytes.size() - start);
        if (done > 0) {
            std::memcpy(buffer, self.bytes.data() + start, done);
        }
        self.position += done;
        return done;
    }

    static std::size_t write(VFS_File* file, const void* buffer, std::size_t count) {
        MemoryFile& self = of(file);
        ++self.accesses;
        self.bytes.append(static_cast<const char*>(buffer), count);
        return count;
    }

    static int seek(VFS_File* file, std::int64_t to) {
        // As on systems that know how far their files can reach.
        if (to < 0 || to > std::int64_t{1} << 44) {
            return 0;
        }
        of(file).position = static_cast<std::size_t>(to);
        return 1;
    }

    static std::int64_t tell(VFS_File* file) {
        return static_cast<std::int64_t>(of(file).position);
    }

    static std::int64_t getSize(VFS_File* file) {
        return static_cast<std::int64_t>(of(file).bytes.size());
    }

    static constexpr VFS_FileOps kOps = {nullptr, read, write, seek, tell, getSize};
};

TEST(VfsBinary, NumbersAreLittleEndianInOneAccess) {
    MemoryFile out;
    EXPECT_EQ(VFS_put_uint8(out.file(), 0xFE), 1U);
    EXPECT_EQ(VFS_put_uint16(out.file(), 0xFEDC), 2U);
    EXPECT_EQ(VFS_put_uint32(out.file(), 0xFEDCBA98), 4U);
    EXPECT_EQ(VFS_put_uint64(out.file(), 0xFEDCBA9876543210), 8U);
    EXPECT_EQ(out.accesses, 4);
    EXPECT_EQ(out.bytes, "\xFE\xDC\xFE\x98\xBA\xDC\xFE\x10\x32\x54\x76\x98\xBA\xDC\xFE");

    MemoryFile in(out.bytes);
    EXPECT_EQ(VFS_get_uint8(in.file()), 0xFEU);
    EXPECT_EQ(VFS_get_uint16(in.file()), 0xFEDCU);
    EXPECT_EQ(VFS_get_uint32(in.file()), 0xFEDCBA98U);
    EXPECT_EQ(VFS_get_uint64(in.file()), 0xFEDCBA9876543210U);
    EXPECT_EQ(in.accesses, 4);

    EXPECT_EQ(VFS_get_uint32(MemoryFile("\x12\x34\x56").file()), 0x563412U) << "cut off";
    MemoryFile nothing;
    EXPECT_EQ(VFS_get_mbint(nothing.file()), 0U);
    EXPECT_EQ(nothing.accesses, 1);
    EXPECT_EQ(VFS_get_mbint(MemoryFile("\x85").file()), 5U);
}

TEST(VfsBinary, MbintsTakeTheBytesTheyNeed) {
    const std::pair<std::uint64_t, std::string> cases[] = {
        {0, "\0"s},
        {127, "\x7F"},
        {128, "\x80\x01"},
        {300, "\xAC\x02"},
        {16383, "\xFF\x7F"},
        {16384, "\x80\x80\x01"},
        {std::numeric_limits<std::uint64_t>::max(), "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"},
    };
    for (const auto& [value, bytes] : cases) {
        MemoryFile out;
        EXPECT_EQ(VFS_put_mbint(out.file(), value), 1U);
        EXPECT_EQ(out.bytes, bytes) << value;
        EXPECT_EQ(out.accesses, static_cast<int>(bytes.size()));
        EXPECT_EQ(VFS_get_mbint(MemoryFile(bytes).file()), value);
    }
}

TEST(VfsBinary, OverlongMbintsComeRoundToTheLowBits) {
    const std::pair<std::string, std::uint64_t> cases[] = {
        {std::string(10, '\x80') + "\x05", 5U << 6}, // 70 bits are 6
        {std::string(10, '\xFF') + "\x01", std::numeric_limits<std::uint64_t>::max()},
        {std::string(9, '\x80') + "\x03", std::uint64_t{1} << 63}, // the 65th bit drops off
        {"\x81" + std::string(63, '\x80') + "\x02", 3},            // 448 bits are 0
    };
    for (const auto& [bytes, value] : cases) {
        MemoryFile in(bytes + "next");
        EXPECT_EQ(VFS_get_mbint(in.file()), value);
        EXPECT_EQ(in.position, bytes.size());
    }
}

struct Cut {
    std::size_t size;
    const char* text;
};

TEST(VfsBinary, StringsAreCutToTheBufferAndLeftBehindWhole) {
    MemoryFile out;
    EXPECT_EQ(VFS_put_string(out.file(), "hello", 5), 5U);
    EXPECT_EQ(VFS_put_string(out.file(), "", 0), 0U);
    EXPECT_EQ(VFS_put_string(out.file(), "a\0b", 3), 3U);
    EXPECT_EQ(out.bytes, "\x05hello\0\x03"
                         "a\0b"s);
    for (const Cut& cut : {Cut{1, ""}, Cut{4, "hel"}, Cut{5, "hell"}, Cut{6, "hello"}}) {
        MemoryFile in(out.bytes);
        std::vector<char> buffer(cut.size, 'x');
        EXPECT_EQ(VFS_get_string(in.file(), buffer.data(), buffer.size()), 5U);
        EXPECT_STREQ(buffer.data(), cut.text);
        EXPECT_EQ(in.position, 6U);
    }
    MemoryFile in(out.bytes);
    char text[8] = "xxxxxxx";
    EXPECT_EQ(VFS_get_string(in.file(), nullptr, 8), 5U);
    EXPECT_EQ(VFS_get_string(in.file(), text, 0), 0U);
    EXPECT_EQ(text[0], 'x');
    EXPECT_EQ(VFS_get_string(in.file(), text, sizeof text), 3U);
    EXPECT_EQ(std::string(text, 5), "a\0b\0x"s);
}

// Whatever a length says, the reader goes forwards, and not past the file's end when nobody could.
TEST(VfsBinary, LengthsThatLieLeadToTheEnd) {
    const std::pair<std::uint64_t, std::size_t> cases[] = {
        {9, 10}, // behind the end of the file: where the string would have ended
        {std::uint64_t{1} << 50, 15},
        {std::uint64_t{1} << 63, 15},
        {std::numeric_limits<std::uint64_t>::max() - 3, 15},
    };
    for (const auto& [length, end] : cases) {
        MemoryFile in;
        VFS_put_mbint(in.file(), length);
        in.bytes.resize(length == 9 ? 6 : 15, 'b');
        char text[4];
        EXPECT_EQ(VFS_get_string(in.file(), text, sizeof text), length);
        EXPECT_STREQ(text, "bbb");
        EXPECT_EQ(in.position, end) << length;
    }
    MemoryFile failing("\x05hello");
    failing.fails = true;
    char text[8] = "old";
    EXPECT_EQ(VFS_get_string(failing.file(), text, sizeof text), 0U);
    EXPECT_STREQ(text, "");
}

TEST(VfsBinary, NullFilesAreLoggedForEachAccess) {
    LogCapture log;
    char text[4] = "old";
    EXPECT_EQ(VFS_put_uint32(nullptr, 1) + VFS_put_string(nullptr, "x", 1), 0U);
    EXPECT_EQ(VFS_get_uint64(nullptr), 0U);
    EXPECT_EQ(VFS_get_string(nullptr, text, sizeof text), 0U);
    EXPECT_STREQ(text, "");
    std::vector<std::string> expected(3, "VFS_write(NULL)");
    expected.resize(6, "VFS_read(NULL)");
    EXPECT_EQ(log.messages(), expected);
}

} // namespace
