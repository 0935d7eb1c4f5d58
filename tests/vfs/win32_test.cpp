// What Windows does in its own way: sharing, and the ANSI calls behind the wide ones.
#include "VFS/File.h"
#include "VFS/Locations.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

using qz::test::freshDirectory;

struct Closer {
    void operator()(VFS_File* file) const { VFS_close(file); }
};
using File = std::unique_ptr<VFS_File, Closer>;

TEST(Win32, OpenFilesAreSharedForReadingOnly) {
    const std::string path = (freshDirectory() / "a.txt").string();
    {
        const File writer(VFS_open_write(path.c_str()));
        ASSERT_TRUE(writer);
        EXPECT_FALSE(File(VFS_open_read(path.c_str())));
        EXPECT_EQ(VFS_remove(path.c_str()), 0);
    }
    const File reader(VFS_open_read(path.c_str()));
    ASSERT_TRUE(reader);
    EXPECT_TRUE(File(VFS_open_read(path.c_str())));
    EXPECT_FALSE(File(VFS_open_write(path.c_str())));
}

TEST(Win32, DevicesAreNoFiles) {
    EXPECT_FALSE(File(VFS_open_read("NUL")));
    EXPECT_FALSE(File(VFS_open_write("NUL")));
    EXPECT_FALSE(File(VFS_open_read("CON")));
}

TEST(Win32, ADrivesRootListsItselfAndItsParent) {
    std::vector<std::string> names;
    const auto keep = [](void* context, const char*, const char* name) {
        static_cast<std::vector<std::string>*>(context)->push_back(name);
    };
    EXPECT_EQ(VFS_readdir("C:\\", keep, &names), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "."), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), ".."), 1);
}

TEST(Win32, PathsThatAreNotUtf8GoToTheAnsiCalls) {
    const std::string directory = freshDirectory().filename().string() + "\\caf\xE9";
    const std::string path = directory + "\\a.txt";
    EXPECT_EQ(VFS_mkdir(directory.c_str()), 1);
    EXPECT_NE(VFS_isdir(directory.c_str()), 0);
    EXPECT_TRUE(File(VFS_open_write(path.c_str())));
    EXPECT_TRUE(File(VFS_open_append(path.c_str())));
    EXPECT_TRUE(File(VFS_open_read(path.c_str())));
    EXPECT_GT(VFS_get_mod_time(path.c_str()), 0);
    std::vector<std::string> names;
    EXPECT_EQ(VFS_readdir(
                  directory.c_str(),
                  [](void* context, const char*, const char* name) {
                      static_cast<std::vector<std::string>*>(context)->push_back(name);
                  },
                  &names),
              1);
    EXPECT_EQ(names, (std::vector<std::string>{".", "..", "a.txt"}));
    EXPECT_NE(VFS_remove(path.c_str()), 0);
    EXPECT_NE(VFS_remove(directory.c_str()), 0);
}

TEST(Win32, DrivesAreLettersWithTheLabelOfFixedOnes) {
    std::vector<std::string> drives;
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

TEST(Win32, ModificationTimeIsTheUtcSecond) {
    const std::string path = (freshDirectory() / "a.txt").string();
    for (const WORD month : {WORD{1}, WORD{7}}) { // in and out of daylight saving
        const SYSTEMTIME time = {2021, month, 0, 15, 12, 30, 45, 0};
        FILETIME written;
        ASSERT_TRUE(SystemTimeToFileTime(&time, &written));
        const HANDLE file =
            CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
        ASSERT_TRUE(SetFileTime(file, nullptr, nullptr, &written));
        CloseHandle(file);
        EXPECT_EQ(VFS_get_mod_time(path.c_str()), month == 1 ? 1610713845 : 1626352245);
    }
}

} // namespace
