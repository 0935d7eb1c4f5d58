#include "Shm/MappedFile.h"
#include "support/test.h"

#include <fstream>

namespace {

struct MappedFile : InDirectory {
    static const char* path() { return "file"; }
    static void write(const std::string& bytes) { writeFile(path(), bytes); }
    static std::string read() { return readFile(path()); }
    static Lines linesOf(const misc::mmf& file) {
        Lines lines;
        unsigned int pos = 0;
        int length = -1;
        while (const char* line = file.getline(pos, length)) {
            lines.emplace_back(line, static_cast<std::size_t>(length));
        }
        return lines;
    }
    static Lines linesOf(const std::string& bytes) {
        write(bytes);
        return linesOf(misc::mmf(path(), true));
    }
};

TEST_F(MappedFile, Lines) {
    EXPECT_EQ(linesOf("a\r\n\r\nb"), Lines({"a", "b"}));
    EXPECT_EQ(linesOf("\n\r\na\n\n"), Lines({"", "a"})); // one empty line at the start
    EXPECT_EQ(linesOf("\n"), Lines({""}));
    EXPECT_EQ(linesOf(std::string("a\0b\n\x8a\x8d\n", 7)),
              Lines({std::string("a\0b", 3), "\x8a\x8d"}));
    EXPECT_EQ(linesOf(""), Lines());

    // All lengths, at many distances from the end.
    for (std::size_t length = 1; length < 300; ++length) {
        const std::string first(length, 'x'), last(length % 70 + 1, '\x8d');
        ASSERT_EQ(linesOf(first + "\r\r\n" + last), Lines({first, last}));
    }
}

TEST_F(MappedFile, Open) {
    write("first");
    misc::mmf file(path(), true);
    ASSERT_NE(file.view, nullptr);
    EXPECT_EQ(std::string(file.view, file.size), "first");
    EXPECT_TRUE(file.readOnly);
    EXPECT_EQ(misc::mmf::reservedmemory, 5U);
    EXPECT_TRUE(file.open(path(), false));
    file.view[0] = 'F';
    file.close();
    file.close();
    EXPECT_EQ(file.view, nullptr);
    EXPECT_EQ(read(), "First");
    EXPECT_EQ(misc::mmf::reservedmemory, 10U);

    write("");
    EXPECT_TRUE(file.open(path(), true));
    EXPECT_EQ(file.size, 0U);
    EXPECT_TRUE(file.open(path(), false));
    EXPECT_TRUE(file.open_copyaccess(path(), 1));
    EXPECT_EQ(misc::mmf::reservedmemory, 10U);
}

TEST_F(MappedFile, Failures) {
    LogCapture log;
    misc::mmf file;
    EXPECT_FALSE(file.open(nullptr, true));
    EXPECT_STREQ(file.error(), "");
    EXPECT_FALSE(file.open("no_such_file", true));
    EXPECT_EQ(std::string(file.error()).rfind("CreateFile(\"no_such_file\", read): ", 0), 0U);
    EXPECT_FALSE(file.open("no_such_file", false));
    EXPECT_EQ(std::string(file.error()).rfind("CreateFile(\"no_such_file\", write): ", 0), 0U);
    const std::string logged = file.error();
    EXPECT_FALSE(file.open_copyaccess(".", 1));
    EXPECT_FALSE(file.open_copyaccess("also_missing", 1));
    EXPECT_EQ(std::string(file.error()).rfind("CreateFile(\"also_missing\", read): ", 0), 0U);
    const LogLine last{"QZCORE", 0x08, logged};
    const std::vector<LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 2U); // open_copyaccess logs none
    EXPECT_EQ(lines.back(), last);
    const std::string longName(3000, 'n'); // the system's text follows the name
    EXPECT_FALSE(file.open_copyaccess(longName.c_str(), 1));
    EXPECT_EQ(std::string(file.error()).rfind("CreateFile(\"" + longName + "\", read): ", 0), 0U);
    write("x");
    EXPECT_FALSE(file.open_copyaccess(path(), -1));
    EXPECT_EQ(file.view, nullptr);

    fs::resize_file(path(), std::uintmax_t{4} << 30);
    EXPECT_FALSE(file.open(path(), true));
    EXPECT_NE(std::string(file.error()).find("large"), std::string::npos) << file.error();
    fs::remove(path());
}

TEST_F(MappedFile, CopyOnWrite) {
    std::string bytes(3 * 65536 + 100, 'x');
    bytes[65536] = 'y';
    write(bytes);
    for (const int units : {0, 1, 2, 3, 4, 0x7FFFFFFF}) {
        misc::mmf file;
        ASSERT_TRUE(file.open_copyaccess(path(), units)) << file.error();
        ASSERT_EQ(std::string(file.view, file.size), bytes);
        const std::size_t writable =
            std::min<std::size_t>(bytes.size(), static_cast<std::size_t>(units) * 65536);
        for (std::size_t i = 0; i < writable; i += 1000) {
            file.view[i] = 'z';
        }
        if (writable > 0) {
            file.view[writable - 1] = 'z';
        }
        EXPECT_EQ(file.view[bytes.size() - 1], writable == bytes.size() ? 'z' : 'x');
        EXPECT_EQ(read(), bytes);
        EXPECT_EQ(misc::mmf::reservedmemory, 0U);
    }
}

TEST_F(MappedFile, ShrinksWhileMapped) {
    write(std::string(3 * 65536, 'x'));
    misc::mmf file(path(), true);
    ASSERT_NE(file.view, nullptr);
    std::error_code refused;
    fs::resize_file(path(), 65536, refused);
    EXPECT_EQ(file.view[65535], 'x'); // what is left stays readable
    EXPECT_EQ(file.size, 3U * 65536);
    if (refused) {
        EXPECT_EQ(file.view[65536], 'x');
    }
}

TEST_F(MappedFile, Writer) {
    misc::mmf_write image(16);
    ASSERT_TRUE(image.Create(path(), 100'000));
    int offset = -1;
    EXPECT_TRUE(image.alloc(1, &offset));
    EXPECT_EQ(offset, 0);
    EXPECT_TRUE(image.alloc(1, &offset));
    EXPECT_EQ(offset, 16);
    image.memory[offset] = 'x';
    EXPECT_EQ(image.used, 32U);
    EXPECT_EQ(image.committed, image.pageSize);
    image.baseOffset = 1000;
    EXPECT_TRUE(image.alloc(0, &offset));
    EXPECT_EQ(offset, 1032);
    EXPECT_FALSE(image.alloc(-1, &offset));
    EXPECT_FALSE(image.alloc(1, nullptr));
    for (const int tooMuch : {99'969, 0x7FFFFFFF}) {
        EXPECT_THROW(image.alloc(tooMuch, &offset), misc::error);
    }
    EXPECT_TRUE(image.alloc(99'968, &offset));
    EXPECT_EQ(messageOf([&] { image.alloc(1, &offset); }), "Memory overflow 100000");
    image.sideCursor = 48;
    image.sideRemaining = 40;
    EXPECT_TRUE(image.alloc(17, &offset));
    EXPECT_EQ(offset, 48);
    EXPECT_EQ(image.sideCursor, 80U);
    EXPECT_THROW(image.alloc(17, &offset), misc::error); // no room there or elsewhere
    image.sideCursor = 0x80000000;
    image.sideRemaining = 16;
    EXPECT_THROW(image.alloc(1, &offset), misc::error); // the offset does not fit
    EXPECT_EQ(image.allocated[0], 100'000U);
    image.Close();
    std::string expected(100'000, 0);
    expected[16] = 'x';
    EXPECT_EQ(read(), expected);

    ASSERT_TRUE(image.Create(path(), 10));
    image.Reset();
    image.Close();
    EXPECT_EQ(read(), expected); // only Close writes, and only after a Create
    ASSERT_TRUE(image.Create(path(), 10));
    ASSERT_TRUE(image.Create(image.fileName, 10));
    image.Close();
    EXPECT_EQ(read(), ""); // replaced by an empty file
}

TEST_F(MappedFile, WriterLeavesTheMappingsOfOthers) {
    write(std::string(100'000, 'x'));
    misc::mmf old(path(), true);
    ASSERT_NE(old.view, nullptr);
    misc::mmf_write image(1);
    ASSERT_TRUE(image.Create(path(), 10));
    const bool isReplaced = messageOf([&] { image.Close(); }).empty(); // false on Windows
    EXPECT_EQ(old.view[99'999], 'x');
    old.close();
    EXPECT_EQ(read().size(), isReplaced ? 0U : 100'000U);
}

TEST_F(MappedFile, WriterLeavesProtectedFiles) {
    write("kept");
    fs::permissions(path(), fs::perms::owner_read);
    if (std::ofstream(path(), std::ios::app)) {
        fs::permissions(path(), fs::perms::all);
        GTEST_SKIP() << "this user may write everything";
    }
    misc::mmf_write image(1);
    ASSERT_TRUE(image.Create(path(), 10));
    EXPECT_THROW(image.Close(), misc::error);
    EXPECT_EQ(read(), "kept");
    fs::permissions(path(), fs::perms::all);
}

TEST_F(MappedFile, WriterFailures) {
    int offset = 0;
    for (const int alignment : {0, -16, 3, 24}) {
        misc::mmf_write image(alignment);
        ASSERT_TRUE(image.Create(nullptr, 100));
        EXPECT_FALSE(image.alloc(1, &offset));
    }
    misc::mmf_write image(1);
    EXPECT_THROW(image.alloc(1, &offset), misc::error);
    EXPECT_EQ(messageOf([&] { image.Create("x", -5); }),
              "Reserve -5 failed: insufficient address space");
    const std::string overlong(256, 'n');
    EXPECT_TRUE(messageOf([&] { image.Create(overlong.c_str(), 5); }).starts_with("CreateFile("));
    EXPECT_EQ(image.memory, nullptr);
    ASSERT_TRUE(image.Create("no_such_folder/image", 5));
    EXPECT_TRUE(messageOf([&] {
                    image.Close();
                }).starts_with("CreateFile(\"no_such_folder/image\", write) "));
    EXPECT_EQ(image.memory, nullptr);
    uint64_t size = 0;
    void* const most = misc::mmf_write::reserveMax(size);
    EXPECT_EQ(size, 0x40000000U);
    misc::mmf_write::freeReserved(most);
}

} // namespace
