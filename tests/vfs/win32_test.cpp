// Behaviour of Windows alone: sharing, names that are not files, and the ANSI calls behind the wide
// ones.
#include "Config/ConfigParser.h"
#include "Core/Log.h"
#include "VFS/Archive.h"
#include "VFS/File.h"
#include "VFS/Locations.h"

#include "support/test.h"
#include "support/vfs_file.h"

#include <windows.h>

namespace {

using namespace qz::test;

TEST(Win32, OpenFilesAreSharedForReadingOnly) {
    const std::string path = (freshDirectory() / "a.txt").string();
    {
        const File writer = openWrite(path);
        EXPECT_FALSE(openRead(path));
        EXPECT_EQ(VFS_remove(path.c_str()), 0);
    }
    const File reader = openRead(path);
    EXPECT_TRUE(openRead(path));
    EXPECT_FALSE(openWrite(path));
}

bool save(const std::string& path) {
    ConfigParser parser;
    return parser.parse("a = 1;", 0) && parser.save(path);
}

TEST(Win32, DevicesAreNoFiles) {
    fs::current_path(freshDirectory());
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

TEST(Win32, PathsForTheAnsiCallsReachNoDevice) {
    EXPECT_TRUE(openRead("C:\\\xE4\\..\\windows\\win.ini"));
    EXPECT_FALSE(openRead("\\\\.\\C:\\\xE4\\..\\windows\\win.ini"));
}

// Alternate streams are not written either, unless a host opens a path that names one.
TEST(Win32, SavesAndLogsGoToFilesAlone) {
    // Under Wine they would be files that remove_all tries to remove without end.
    const std::string directory =
        (fs::current_path() / "Win32.SavesAndLogsGoToFilesAlone").string();
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

TEST(Win32, PathsThatAreTakenAsTheyStand) {
    const std::string directory = R"(\\?\)" + fs::absolute(freshDirectory()).string();
    const std::string file = directory + R"(\sub\a.txt)";
    EXPECT_EQ(VFS_mkdir((directory + R"(\sub)").c_str()), 1);
    EXPECT_TRUE(openWrite(file));
    EXPECT_TRUE(save(file));
    EXPECT_EQ(namesIn(directory + R"(\sub)").size(), 3U);
}

TEST(Win32, ADrivesRootListsItselfAndItsParent) {
    const Lines names = namesIn("C:\\");
    EXPECT_EQ(std::count(names.begin(), names.end(), "."), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), ".."), 1);
}

TEST(Win32, PathsThatAreNotUtf8GoToTheAnsiCalls) {
    const std::string directory = freshDirectory().filename().string() + "\\caf\xE9";
    const std::string path = directory + "\\a.txt";
    EXPECT_EQ(VFS_mkdir(directory.c_str()), 1);
    EXPECT_NE(VFS_isdir(directory.c_str()), 0);
    EXPECT_TRUE(openWrite(path));
    EXPECT_TRUE(openAppend(path));
    EXPECT_TRUE(openRead(path));
    EXPECT_GT(VFS_get_mod_time(path.c_str()), 0);
    EXPECT_EQ(namesIn(directory), (Lines{".", "..", "a.txt"}));
    EXPECT_NE(VFS_remove(path.c_str()), 0);
    EXPECT_NE(VFS_remove(directory.c_str()), 0);
}

TEST(Win32, DrivesAreLettersWithTheLabelOfFixedOnes) {
    Lines drives;
    VFS_get_locations(
        [](void* context, const VFS_Location* location) {
            EXPECT_EQ(std::string(location->path).substr(1), ":\\");
            EXPECT_EQ(std::string(location->name).substr(0, 2),
                      std::string(location->path).substr(0, 2));
            static_cast<std::vector<std::string>*>(context)->push_back(location->path);
        },
        &drives);
    EXPECT_NE(std::find(drives.begin(), drives.end(), "C:\\"), drives.end());
}

TEST(Win32, ModificationTimeIsTheUtcSecondOrFiner) {
    const std::string path = (freshDirectory() / "a.txt").string();
    for (const WORD month : {WORD{1}, WORD{7}}) { // in and out of daylight saving
        const SYSTEMTIME time = {2021, month, 0, 15, 12, 30, 45, 678};
        FILETIME written;
        ASSERT_TRUE(SystemTimeToFileTime(&time, &written));
        const HANDLE file =
            CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
        ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &written));
        CloseHandle(file);
        const std::int64_t second = month == 1 ? 1610713845 : 1626352245;
        EXPECT_EQ(VFS_get_mod_time(path.c_str()), second);
        EXPECT_EQ(VFS_get_mod_time_ns(path.c_str()), second * 1'000'000'000 + 678'000'000);
    }
}

} // namespace
