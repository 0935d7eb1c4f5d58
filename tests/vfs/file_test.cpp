#include "VFS/File.h"

#include "support/vfs_file.h"

#include <ctime>

namespace {

struct VfsFile : InDirectory {};

// The logged messages without the system's reason. Checks that all are errors with a reason, on one
// line.
Lines withoutReasons(LogCapture& log) {
    Lines messages;
    for (const auto& [module, level, message] : log.take()) {
        const std::size_t reason = message.find("): ") + 3;
        EXPECT_TRUE(module == "VFS" && level == 0x08U && reason < message.size()) << message;
        EXPECT_EQ(message.find_first_of("\r\n"), std::string::npos);
        messages.push_back(message.substr(0, reason));
    }
    return messages;
}

TEST_F(VfsFile, WritingEmptiesAndAppendingGoesOn) {
    const char* const path = "a.txt";
    const auto before = std::time(nullptr) - 2; // file times may lag behind the clock a little
    for (const std::string text : {"a longer text", "short"}) {
        EXPECT_EQ(VFS_write(openWrite(path).get(), text.data(), text.size()), text.size());
    }
    EXPECT_EQ(readFile(path), "short");
    EXPECT_GE(VFS_get_mod_time(path), before);
    EXPECT_LE(VFS_get_mod_time(path), std::time(nullptr) + 2);
    EXPECT_EQ(VFS_get_mod_time_ns(path) / 1'000'000'000, VFS_get_mod_time(path));
    {
        const File file = openAppend(path);
        EXPECT_EQ(VFS_tell(file.get()), 5);
        EXPECT_EQ(VFS_write(file.get(), "er", 2), 2U);
        // Appending begins at the end, but a seek moves it.
        EXPECT_EQ(VFS_seek(file.get(), 0), 1);
        EXPECT_EQ(VFS_write(file.get(), "S", 1), 1U);
    }
    EXPECT_EQ(readFile(path), "Shorter");
    EXPECT_TRUE(openAppend("new.txt"));
    EXPECT_EQ(readFile("new.txt"), "");
}

TEST_F(VfsFile, ReadsAndSeeksAboveFourGibibytesAndBeyondTheEnd) {
    constexpr std::int64_t kFarAway = (std::int64_t{5} << 30) + 3;
    File file = openWrite("sparse");
    ASSERT_EQ(VFS_seek(file.get(), kFarAway), 1);
    ASSERT_EQ(VFS_write(file.get(), "end", 3), 3U);
    EXPECT_EQ(VFS_tell(file.get()), kFarAway + 3);
    file.reset();
    file = openRead("sparse");
    EXPECT_EQ(VFS_getsize(file.get()), kFarAway + 3);
    ASSERT_EQ(VFS_seek(file.get(), kFarAway + 1), 1);
    char text[8] = {};
    EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 2U);
    EXPECT_STREQ(text, "nd");
    EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 0U);
    EXPECT_EQ(VFS_seek(file.get(), kFarAway + 100), 1);
    EXPECT_EQ(VFS_tell(file.get()), kFarAway + 100);
    EXPECT_EQ(VFS_read(file.get(), text, sizeof text), 0U);
    file.reset();
    EXPECT_NE(VFS_remove("sparse"), 0);
}

TEST_F(VfsFile, SecondWriterIsRefusedAndChangesNothing) {
    LogCapture log;
    writeFile("a.txt", "old");
    {
        const File first = openAppend("a.txt");
        EXPECT_FALSE(openWrite("a.txt") || openAppend("a.txt"));
    }
    EXPECT_EQ(readFile("a.txt"), "old");
    EXPECT_EQ(withoutReasons(log), (Lines{"VFS_open_write: CreateFile(a.txt): ",
                                          "VFS_open_append: CreateFile(a.txt): "}));
    EXPECT_TRUE(openWrite("a.txt")) << "closing gives it free";
}

TEST_F(VfsFile, FailuresReturnNothingAndAreLoggedExceptForReaders) {
    LogCapture log;
    writeFile("a.txt", "x");
    const char* const missing = "missing\\a.txt";
    EXPECT_FALSE(openRead(missing));
    EXPECT_FALSE(openRead("."));
    EXPECT_EQ(VFS_exists(missing), 0);
    EXPECT_EQ(VFS_get_mod_time(missing), 0);
    EXPECT_EQ(VFS_get_mod_time_ns(missing), 0);
    EXPECT_EQ(log.messages(), Lines{});

    EXPECT_FALSE(openWrite(missing));
    EXPECT_FALSE(openAppend("."));
    const File writer = openAppend("b.txt");
    const File reader = openRead("a.txt");
    char byte = 0;
    EXPECT_EQ(VFS_read(writer.get(), &byte, 1), 0U);
    EXPECT_EQ(VFS_write(reader.get(), &byte, 1), 0U);
    EXPECT_EQ(VFS_seek(reader.get(), -1), 0);
    EXPECT_EQ(VFS_tell(reader.get()), 0);
    EXPECT_EQ(withoutReasons(log), (Lines{"VFS_open_write: CreateFile(missing\\a.txt): ",
                                          "VFS_open_append: CreateFile(.): ", "ReadFile(1 bytes): ",
                                          "WriteFile(1 bytes): ", "SetFilePointerEx(-1): "}));

    EXPECT_EQ(VFS_read(nullptr, &byte, 1) + VFS_write(nullptr, &byte, 1), 0U);
    EXPECT_EQ(VFS_seek(nullptr, 0) + VFS_tell(nullptr) + VFS_getsize(nullptr), 0);
    VFS_close(nullptr);
    EXPECT_EQ(log.messages(), (Lines{"VFS_read(NULL)", "VFS_write(NULL)", "VFS_seek(NULL)",
                                     "VFS_tell(NULL)", "VFS_getsize(NULL)"}));
}

TEST_F(VfsFile, NullAndOverlongPathsAreFailures) {
    const std::string overlong(300, 'x');
    for (const char* path : {static_cast<const char*>(nullptr), overlong.c_str()}) {
        EXPECT_FALSE(VFS_open_read(path) || VFS_open_write(path) || VFS_open_append(path));
        EXPECT_FALSE(VFS_exists(path) || VFS_isdir(path) || VFS_mkdir(path) || VFS_remove(path));
        EXPECT_EQ(VFS_readdir(
                      path, [](void*, const char*, const char*) {}, nullptr),
                  0);
        EXPECT_EQ(VFS_get_mod_time(path), 0);
    }
    EXPECT_EQ(VFS_readdir(".", nullptr, nullptr), 0);
    // A path is too long even if each of its parts is short enough.
    EXPECT_EQ(VFS_isdir(("." + repeated("\\.", 150)).c_str()), 0);
}

TEST_F(VfsFile, DirectoriesAreMadeWithTheirParentsListedAndRemovedEmpty) {
    const std::string name = "\u0444\u0430\u0439\u043B \u20AC.txt";
    EXPECT_EQ(namesIn("a"), Lines{});
    EXPECT_EQ(VFS_mkdir("a/b\\c/"), 1);
    EXPECT_NE(VFS_isdir("a\\b\\c"), 0);
    EXPECT_EQ(VFS_mkdir("a/b\\c/"), 0) << "exists already";
    EXPECT_EQ(VFS_write(openWrite("a\\" + name).get(), "x", 1), 1U);
    Lines names = namesIn("a");
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (Lines{".", "..", "b", name}));
    EXPECT_EQ(namesIn("a\\b\\c").size(), 2U);
    EXPECT_EQ(VFS_remove("a\\b"), 0) << "not empty";
    EXPECT_NE(VFS_remove("a\\b\\c"), 0);
    EXPECT_EQ(VFS_exists("a\\b\\c"), 0);

    const std::string file = "a\\" + name;
    EXPECT_EQ(VFS_mkdir((file + "\\below").c_str()), 0);
    EXPECT_NE(VFS_exists(file.c_str()), 0);
    EXPECT_EQ(VFS_isdir(file.c_str()), 0);
    EXPECT_NE(VFS_remove(file.c_str()), 0);
    EXPECT_EQ(VFS_remove(file.c_str()), 0);
}

} // namespace
