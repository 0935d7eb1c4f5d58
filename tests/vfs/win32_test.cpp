// Behaviour of Windows alone: sharing, names that are not files, and the ANSI calls behind the wide
// ones.
#include "Config/ConfigParser.h"
#include "Core/Log.h"
#include "VFS/Archive.h"

#include "support/vfs_file.h"

#include <windows.h>

namespace {

struct Win32 : InDirectory {};

TEST_F(Win32, OpenFilesAreSharedForReadingOnly) {
    {
        const File writer = openWrite("a.txt");
        EXPECT_FALSE(openRead("a.txt"));
        EXPECT_EQ(VFS_remove("a.txt"), 0);
    }
    const File reader = openRead("a.txt");
    EXPECT_TRUE(openRead("a.txt"));
    EXPECT_FALSE(openWrite("a.txt"));
}

bool save(const std::string& path) {
    ConfigParser parser;
    return parser.parse("a = 1;", 0) && parser.save(path);
}

TEST_F(Win32, DevicesAreNoFiles) {
    fs::create_directory("sub");
    LogCapture log;
    vfs_init();
    ASSERT_NE(vfs_mount(".", "/", 1), 0);
    for (const char* path :
         {"NUL", "sub/nul.txt", "CON", "CONOUT$", R"(\\.\NUL)", R"(\\?\NUL)", R"(\??\NUL)"}) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(openRead(path) || openWrite(path));
        EXPECT_EQ(VFS_mkdir(path), 0);
        EXPECT_FALSE(save(path));
        log.take();
        EXPECT_EQ(vfs_read_file(path, nullptr), nullptr);
        EXPECT_EQ(log.messages(), Lines{std::string("Can't open file ") + path + "."});
    }
    vfs_deinit();
    // The reason for the empty path is not left over from another path.
    EXPECT_FALSE(openWrite("NUL") || openWrite(""));
    const Lines failures = log.messages();
    const auto reasonOf = [](const std::string& text) { return text.substr(text.rfind(": ")); };
    EXPECT_NE(reasonOf(failures.at(0)), reasonOf(failures.at(1)));
}

TEST_F(Win32, PathsForTheAnsiCallsReachNoDevice) {
    EXPECT_TRUE(openRead("C:\\\xE4\\..\\windows\\win.ini"));
    EXPECT_FALSE(openRead("\\\\.\\C:\\\xE4\\..\\windows\\win.ini"));
}

// Alternate streams are not written either, unless a host opens a path that names one.
TEST(Win32Streams, AreNotMadeBySavesAndLogs) {
    // Under Wine they would be files that remove_all tries to remove without end.
    const std::string directory =
        (fs::current_path() / "Win32Streams.AreNotMadeBySavesAndLogs").string();
    const auto removeStreams = [&] {
        return DeleteFileA((directory + "/a.cfg:notes").c_str()) +
               DeleteFileA((directory + "/a:notes.log").c_str());
    };
    removeStreams();
    fs::current_path(freshDirectory());
    EXPECT_FALSE(save("a.cfg:notes"));
    EXPECT_EQ(qz_log_start(".", "a:notes"), 0);
    qz_log_stop();
    EXPECT_EQ(removeStreams(), 0);
    EXPECT_TRUE(fs::is_empty("."));
    EXPECT_TRUE(save((fs::current_path().root_name() += "a.cfg").string())) << "a drive's colon";
}

TEST_F(Win32, PathsThatAreTakenAsTheyStand) {
    const std::string directory = R"(\\?\)" + fs::current_path().string();
    const std::string file = directory + R"(\sub\a.txt)";
    EXPECT_EQ(VFS_mkdir((directory + R"(\sub)").c_str()), 1);
    EXPECT_TRUE(openWrite(file));
    EXPECT_TRUE(save(file));
    EXPECT_EQ(namesIn(directory + R"(\sub)").size(), 3U);
}

TEST_F(Win32, ADrivesRootListsItselfAndItsParent) {
    const Lines names = namesIn("C:\\");
    EXPECT_EQ(std::count(names.begin(), names.end(), "."), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), ".."), 1);
}

TEST_F(Win32, PathsThatAreNotUtf8GoToTheAnsiCalls) {
    const char* const directory = "caf\xE9";
    const char* const path = "caf\xE9\\a.txt";
    EXPECT_EQ(VFS_mkdir(directory), 1);
    EXPECT_NE(VFS_isdir(directory), 0);
    EXPECT_TRUE(openWrite(path));
    EXPECT_TRUE(openAppend(path));
    EXPECT_TRUE(openRead(path));
    EXPECT_GT(VFS_get_mod_time(path), 0);
    EXPECT_EQ(namesIn(directory), (Lines{".", "..", "a.txt"}));
    EXPECT_NE(VFS_remove(path), 0);
    EXPECT_NE(VFS_remove(directory), 0);
}

TEST_F(Win32, DrivesAreLettersWithTheLabelOfFixedOnes) {
    Lines drives;
    for (const auto& [name, path] : allLocations()) {
        EXPECT_EQ(path.substr(1), ":\\");
        EXPECT_EQ(name.substr(0, 2), path.substr(0, 2));
        drives.push_back(path);
    }
    EXPECT_EQ(std::ranges::count(drives, "C:\\"), 1);
}

TEST_F(Win32, ModificationTimeIsTheUtcSecondOrFiner) {
    for (const WORD month : {WORD{1}, WORD{7}}) { // in and out of daylight saving
        const SYSTEMTIME time = {2021, month, 0, 15, 12, 30, 45, 678};
        FILETIME written;
        ASSERT_TRUE(SystemTimeToFileTime(&time, &written));
        const HANDLE file =
            CreateFileA("a.txt", GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
        ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &written));
        CloseHandle(file);
        const std::int64_t second = month == 1 ? 1610713845 : 1626352245;
        EXPECT_EQ(VFS_get_mod_time("a.txt"), second);
        EXPECT_EQ(VFS_get_mod_time_ns("a.txt"), second * 1'000'000'000 + 678'000'000);
    }
}

} // namespace
