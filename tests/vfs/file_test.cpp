#include "VFS/File.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using qz::test::freshDirectory;
using qz::test::LogCapture;

struct Closer {
    void operator()(VFS_File* file) const { VFS_close(file); }
};
using File = std::unique_ptr<VFS_File, Closer>;

// Below a directory of the test's own, relative to the working directory, as hosts would write it.
class VfsFile : public ::testing::Test {
protected:
    static std::string path(const std::string& name) { return directory() + "\\" + name; }

    static const std::string& directory() {
        static const std::string name = freshDirectory().filename().string();
        return name;
    }

    static void write(const std::string& name, const std::string& text) {
        const File file(VFS_open_write(path(name).c_str()));
        ASSERT_TRUE(file);
        ASSERT_EQ(VFS_write(file.get(), text.data(), text.size()), text.size());
    }

    static std::string read(const std::string& name) {
        const File file(VFS_open_read(path(name).c_str()));
        if (!file) {
            return "<cannot be opened>";
        }
        std::string text(static_cast<std::size_t>(VFS_getsize(file.get())), 0);
        EXPECT_EQ(VFS_read(file.get(), text.data(), text.size()), text.size());
        return text;
    }
};

using Entries = std::vector<std::string>;

void collect(void* context, const char* directory, const char* name) {
    static_cast<Entries*>(context)->push_back(std::string(directory) + "|" + name);
}

bool startsWith(const std::vector<std::string>& lines, std::size_t index, const std::string& text) {
    return index < lines.size() && lines[index].starts_with(text);
}

TEST_F(VfsFile, WritingEmptiesAndAppendingGoesOn) {
    write("a.txt", "a longer text");
    write("a.txt", "short");
    EXPECT_EQ(read("a.txt"), "short");
    {
        const File file(VFS_open_append(path("a.txt").c_str()));
        ASSERT_TRUE(file);
        EXPECT_EQ(VFS_tell(file.get()), 5);
        EXPECT_EQ(VFS_write(file.get(), "er", 2), 2U);
        // The end is where appending starts, not where it stays.
        EXPECT_EQ(VFS_seek(file.get(), 0), 1);
        EXPECT_EQ(VFS_write(file.get(), "S", 1), 1U);
    }
    EXPECT_EQ(read("a.txt"), "Shorter");
    EXPECT_TRUE(File(VFS_open_append(path("new.txt").c_str())));
    EXPECT_EQ(read("new.txt"), "");
}

TEST_F(VfsFile, ReadsAndSeeksWithinAndBeyondTheEnd) {
    write("a.txt", "0123456789");
    const File file(VFS_open_read(path("a.txt").c_str()));
    ASSERT_TRUE(file);
    char text[16] = {};
    EXPECT_EQ(VFS_getsize(file.get()), 10);
    EXPECT_EQ(VFS_seek(file.get(), 8), 1);
    EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 2U);
    EXPECT_STREQ(text, "89");
    EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 0U);
    EXPECT_EQ(VFS_seek(file.get(), 100), 1);
    EXPECT_EQ(VFS_tell(file.get()), 100);
    EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 0U);
}

TEST_F(VfsFile, FilesAboveFourGibibytesWork) {
    constexpr std::int64_t kFarAway = (std::int64_t{5} << 30) + 3;
    {
        const File file(VFS_open_write(path("sparse").c_str()));
        ASSERT_TRUE(file);
        ASSERT_EQ(VFS_seek(file.get(), kFarAway), 1);
        ASSERT_EQ(VFS_write(file.get(), "end", 3), 3U);
        EXPECT_EQ(VFS_tell(file.get()), kFarAway + 3);
        EXPECT_EQ(VFS_getsize(file.get()), kFarAway + 3);
    }
    {
        const File file(VFS_open_read(path("sparse").c_str()));
        ASSERT_TRUE(file);
        ASSERT_EQ(VFS_seek(file.get(), kFarAway), 1);
        char text[8] = {};
        EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 3U);
        EXPECT_STREQ(text, "end");
    }
    EXPECT_NE(VFS_remove(path("sparse").c_str()), 0);
}

TEST_F(VfsFile, SecondWriterIsRefusedAndChangesNothing) {
    LogCapture log;
    {
        const File first(VFS_open_write(path("a.txt").c_str()));
        ASSERT_TRUE(first);
        ASSERT_EQ(VFS_write(first.get(), "kept", 4), 4U);
        EXPECT_FALSE(File(VFS_open_write(path("a.txt").c_str())));
        EXPECT_FALSE(File(VFS_open_append(path("a.txt").c_str())));
    }
    EXPECT_EQ(read("a.txt"), "kept");
    const std::vector<std::string> messages = log.messages();
    EXPECT_TRUE(startsWith(messages, 0, "VFS_open_write: CreateFile(" + path("a.txt") + "): "));
    EXPECT_TRUE(startsWith(messages, 1, "VFS_open_append: CreateFile(" + path("a.txt") + "): "));
    EXPECT_TRUE(File(VFS_open_write(path("a.txt").c_str()))) << "closing gives it free";
}

TEST_F(VfsFile, OnlyFailedWritersAreLogged) {
    LogCapture log;
    const std::string missing = path("missing\\a.txt");
    EXPECT_FALSE(File(VFS_open_read(missing.c_str())));
    EXPECT_FALSE(File(VFS_open_read(directory().c_str()))) << "a directory";
    EXPECT_EQ(VFS_exists(missing.c_str()), 0);
    EXPECT_EQ(VFS_get_mod_time(missing.c_str()), 0);
    EXPECT_EQ(log.messages(), std::vector<std::string>{});

    EXPECT_FALSE(File(VFS_open_write(missing.c_str())));
    EXPECT_FALSE(File(VFS_open_append(directory().c_str())));
    const std::vector<qz::test::LogLine> lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].module, "VFS");
    EXPECT_EQ(lines[0].level, 0x08U);
    const std::string stated = "VFS_open_write: CreateFile(" + missing + "): ";
    EXPECT_TRUE(lines[0].message.starts_with(stated)) << lines[0].message;
    EXPECT_GT(lines[0].message.size(), stated.size()) << "the system's own words";
    EXPECT_EQ(lines[0].message.find_first_of("\r\n"), std::string::npos);
}

TEST_F(VfsFile, FailedOperationsAreLoggedAndReturnNothing) {
    write("a.txt", "x");
    LogCapture log;
    char byte = 0;
    const File writer(VFS_open_append(path("b.txt").c_str()));
    const File reader(VFS_open_read(path("a.txt").c_str()));
    ASSERT_TRUE(writer && reader);
    EXPECT_EQ(VFS_read(writer.get(), &byte, 1), 0U);
    EXPECT_EQ(VFS_write(reader.get(), &byte, 1), 0U);
    EXPECT_EQ(VFS_seek(reader.get(), -1), 0);
    EXPECT_EQ(VFS_tell(reader.get()), 0);
    const std::vector<std::string> lines = log.messages();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(startsWith(lines, 0, "ReadFile(1 bytes): "));
    EXPECT_TRUE(startsWith(lines, 1, "WriteFile(1 bytes): "));
    EXPECT_TRUE(startsWith(lines, 2, "SetFilePointerEx(-1): "));
}

TEST_F(VfsFile, NullHandlesAndPathsAreFailures) {
    LogCapture log;
    char byte = 0;
    EXPECT_EQ(VFS_read(nullptr, &byte, 1), 0U);
    EXPECT_EQ(VFS_write(nullptr, &byte, 1), 0U);
    EXPECT_EQ(VFS_seek(nullptr, 0), 0);
    EXPECT_EQ(VFS_tell(nullptr), 0);
    EXPECT_EQ(VFS_getsize(nullptr), 0);
    VFS_close(nullptr);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"VFS_read(NULL)", "VFS_write(NULL)", "VFS_seek(NULL)",
                                        "VFS_tell(NULL)", "VFS_getsize(NULL)"}));
    Entries entries;
    EXPECT_FALSE(VFS_open_read(nullptr) || VFS_open_write(nullptr) || VFS_open_append(nullptr));
    EXPECT_FALSE(VFS_exists(nullptr) || VFS_isdir(nullptr) || VFS_mkdir(nullptr));
    EXPECT_FALSE(VFS_remove(nullptr) || VFS_readdir(nullptr, collect, &entries));
    EXPECT_FALSE(VFS_readdir(".", nullptr, nullptr));
    EXPECT_EQ(VFS_get_mod_time(nullptr), 0);
}

TEST_F(VfsFile, OverlongPathsAreRefused) {
    const std::string overlong(300, 'x');
    EXPECT_FALSE(File(VFS_open_read(overlong.c_str())));
    EXPECT_FALSE(File(VFS_open_write(overlong.c_str())));
    EXPECT_FALSE(VFS_exists(overlong.c_str()) || VFS_isdir(overlong.c_str()));
    EXPECT_FALSE(VFS_mkdir(overlong.c_str()) || VFS_remove(overlong.c_str()));
    Entries entries;
    EXPECT_EQ(VFS_readdir(overlong.c_str(), collect, &entries), 0);
    EXPECT_EQ(VFS_get_mod_time(overlong.c_str()), 0);
    // Also when each of its parts would do.
    std::string deep = directory();
    while (deep.size() < 300) {
        deep += "\\..\\" + directory();
    }
    EXPECT_EQ(VFS_isdir(deep.c_str()), 0);
}

TEST_F(VfsFile, DirectoriesAreMadeWithTheirParentsAndRemovedEmpty) {
    const std::string deep = path("a/b\\c/");
    EXPECT_EQ(VFS_mkdir(deep.c_str()), 1);
    EXPECT_NE(VFS_isdir(path("a\\b\\c").c_str()), 0);
    EXPECT_EQ(VFS_mkdir(deep.c_str()), 0) << "exists already";
    EXPECT_EQ(VFS_remove(path("a\\b").c_str()), 0) << "not empty";
    EXPECT_NE(VFS_remove(path("a\\b\\c").c_str()), 0);
    EXPECT_EQ(VFS_exists(path("a\\b\\c").c_str()), 0);

    write("file", "x");
    EXPECT_EQ(VFS_mkdir(path("file\\below").c_str()), 0);
    EXPECT_NE(VFS_exists(path("file").c_str()), 0);
    EXPECT_EQ(VFS_isdir(path("file").c_str()), 0);
    EXPECT_NE(VFS_remove(path("file").c_str()), 0);
    EXPECT_EQ(VFS_remove(path("file").c_str()), 0);
}

TEST_F(VfsFile, ListingsHoldEveryEntryAndTheDotEntries) {
    Entries entries;
    EXPECT_EQ(VFS_readdir(path("missing").c_str(), collect, &entries), 0);
    EXPECT_TRUE(entries.empty());

    const std::string name = "\u0444\u0430\u0439\u043B \u20AC.txt";
    write(name, "x");
    ASSERT_EQ(VFS_mkdir(path("sub").c_str()), 1);
    EXPECT_EQ(VFS_readdir(directory().c_str(), collect, &entries), 1);
    std::sort(entries.begin(), entries.end());
    Entries expected;
    for (const char* entry : {".", "..", "sub", name.c_str()}) {
        expected.push_back(directory() + "|" + entry);
    }
    EXPECT_EQ(entries, expected);

    entries.clear();
    EXPECT_EQ(VFS_readdir(path("sub").c_str(), collect, &entries), 1);
    EXPECT_EQ(entries.size(), 2U);
}

TEST_F(VfsFile, ThreadsWorkOnFilesOfTheirOwn) {
    const auto work = [](int number) {
        const std::string name = "file" + std::to_string(number);
        for (int round = 0; round < 20; ++round) {
            Entries entries;
            write(name, name);
            EXPECT_EQ(read(name), name);
            EXPECT_FALSE(File(VFS_open_write(path("missing\\" + name).c_str())));
            EXPECT_EQ(VFS_readdir(directory().c_str(), collect, &entries), 1);
            EXPECT_NE(VFS_remove(path(name).c_str()), 0);
        }
    };
    std::thread threads[] = {std::thread(work, 0), std::thread(work, 1), std::thread(work, 2)};
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(VfsFile, ModificationTimeIsTheUtcSecond) {
    const auto before = std::time(nullptr) - 2; // file times may lag behind the clock a little
    write("a.txt", "x");
    const std::int64_t written = VFS_get_mod_time(path("a.txt").c_str());
    EXPECT_GE(written, before);
    EXPECT_LE(written, std::time(nullptr) + 2);
}

} // namespace
