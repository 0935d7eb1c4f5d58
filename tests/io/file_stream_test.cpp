#include "IO/FileStream.h"

#include "VFS/Archive.h"
#include "support/memory_file.h"

namespace {

using Mode = io::FileStream::Mode;

struct IoFileStream : InDirectory {};

TEST_F(IoFileStream, AppendsAtTheEnd) {
    writeFile("file", "one ");
    io::FileStream file("file", Mode::kAppend);
    EXPECT_EQ(file.tell(), 4U);
    EXPECT_EQ(file.write("two", 3), 3U);
    EXPECT_EQ(file.size(), 7U);
    EXPECT_TRUE(file.open("file", Mode::kRead)) << "closes the other one";
    EXPECT_EQ(file.size(), 7U);
    EXPECT_FALSE(file.open("no/such/file", Mode::kRead));
    EXPECT_FALSE(file.isOpen());
    EXPECT_TRUE(file.open("file", Mode::kRead)) << "the error was the other file's";
}

TEST_F(IoFileStream, ReplacesWhenItIsClosedWell) {
    const std::string large(100'000, 'n');
    for (const bool exists : {false, true}) {
        SCOPED_TRACE(exists);
        if (exists) {
            writeFile("file", "old");
        }
        {
            io::FileStream file("file", Mode::kReplace);
            EXPECT_EQ(file.write(large.data(), large.size()), large.size());
            EXPECT_EQ(fs::exists("file"), exists);
        }
        EXPECT_EQ(fs::exists("file"), exists) << "not closed";
        EXPECT_EQ(countIn("."), exists ? 1 : 0);

        io::FileStream file("file", Mode::kReplace);
        EXPECT_EQ(file.write("length", 6) + file.write(large.data(), large.size()), 100'006U);
        EXPECT_TRUE(file.seek(0) && file.write("LENGTH", 6) == 6) << "what is known only later";
        EXPECT_EQ(exists ? readFile("file") : "old", "old");
        EXPECT_TRUE(file.close()) << file.getError();
        EXPECT_EQ(readFile("file"), "LENGTH" + large);
        EXPECT_EQ(countIn("."), 1);
        fs::remove("file");
    }
}

TEST_F(IoFileStream, ReplacesTheFileThatWasOpened) {
    writeFile("folder/file", "another");
    io::FileStream file("file", Mode::kReplace);
    EXPECT_EQ(file.write("new", 3), 3U);
    fs::current_path("folder");
    EXPECT_TRUE(file.close()) << file.getError();
    EXPECT_EQ(readFile("file"), "another");
    EXPECT_EQ(readFile("../file"), "new");
}

TEST_F(IoFileStream, KeepsTheOldFileAfterAnError) {
    writeFile("file", "old");
    io::FileStream file("file", Mode::kReplace);
    EXPECT_EQ(file.write("new", 3), 3U);
    char c = 0;
    EXPECT_EQ(file.read(&c, 1), 0U) << "it is for writing";
    file.clearError();
    EXPECT_EQ(file.write("er", 2), 2U);
    EXPECT_FALSE(file.close()) << "the error was cleared, but something may be missing";
    EXPECT_EQ(file.write("x", 1), 0U) << "there is no file";
    EXPECT_EQ(readFile("file"), "old");

    fs::create_directory("folder");
    for (const char* nowhere : {"folder", "folder/", "no/such/folder", ""}) {
        EXPECT_FALSE(io::FileStream(nowhere, Mode::kReplace).isOpen()) << nowhere;
    }
    EXPECT_FALSE(io::FileStream(nullptr, Mode::kReplace).isOpen());
    EXPECT_EQ(countIn("."), 2);
}

TEST(IoMountedStream, ReadsAnywhere) {
    const LogCapture log;
    const std::string archive = fs::absolute("../../vfs/archives/big.zip").string();
    fs::current_path(freshDirectory());
    vfs_init();
    ASSERT_TRUE(vfs_mount(archive.c_str(), "/", 1));
    for (const char* path : {"stored.bin", "deflated.bin"}) { // 16 MiB of words that count up
        io::MountedStream stream(path);
        ASSERT_TRUE(stream.isGood()) << path;
        EXPECT_EQ(stream.size(), 16U << 20);
        for (const std::uint32_t word : {0U, 1U, 5000U, 4'000'000U, 77U, 4'194'303U}) {
            std::uint32_t read = 0;
            EXPECT_TRUE(stream.seek(std::uint64_t{word} * 4));
            EXPECT_EQ(stream.read(&read, sizeof read), sizeof read) << stream.getError();
            EXPECT_EQ(read, word);
        }
        char more = 0;
        EXPECT_EQ(stream.read(&more, 1), 0U);
        EXPECT_TRUE(stream.isGood()) << "the end is no error";
        EXPECT_EQ(stream.write(&more, 1), 0U);
    }
    EXPECT_FALSE(io::MountedStream("none").isGood() || io::MountedStream(nullptr).isGood());
    {
        io::MountedStream open("stored.bin");
        EXPECT_FALSE(vfs_unmount(archive.c_str()));
        vfs_deinit();
        char c = 0;
        EXPECT_EQ(open.read(&c, 1), 1U) << "they leave it alone";
    }
    EXPECT_TRUE(vfs_unmount(archive.c_str()));
    vfs_deinit();
    EXPECT_FALSE(io::MountedStream("stored.bin").isGood());
}

TEST_F(IoFileStream, AFileMayGrowWhileItIsRead) {
    MemoryFile growing("old");
    growing.more = " and new";
    io::FileStream file(&growing);
    char text[12] = "";
    EXPECT_EQ(file.read(text, 11), 11U);
    EXPECT_STREQ(text, "old and new");
    EXPECT_TRUE(file.isGood()) << file.getError();
}

} // namespace
