#include "VFS/Locations.h"

#include "Core/Environment.h"
#include "support/vfs_file.h"

namespace {

unsigned int add(const std::string& name, const std::string& path) {
    const VFS_Location location = {name.c_str(), path.c_str()};
    return VFS_add_location(&location);
}

TEST(Locations, InitChoosesAndCreatesTheDirectories) {
    EXPECT_STREQ(VFS_get_basedir(), "./");
    EXPECT_STREQ(VFS_get_writedir(), "./");
    EXPECT_STREQ(VFS_get_tempdir(), "./Temp/");
    // Only Linux looks at these variables. On Windows the folders belong to the tests' own user.
    const std::string root = freshDirectory().string();
    ASSERT_NE(SYS_putenv("XDG_DATA_HOME", (root + "/data").c_str()), 0);
    ASSERT_NE(SYS_putenv("TMPDIR", (root + "/temp").c_str()), 0);
    LogCapture log;
    EXPECT_EQ(VFS_init("qzCore tests/init", "some/where/.."), 1U);

    const std::string base = VFS_get_basedir();
    EXPECT_TRUE(base.ends_with("\\some\\")) << base;
    EXPECT_EQ(base.find('/'), std::string::npos);
    EXPECT_EQ(VFS_exists(base.c_str()), 0) << "it is not created";
    for (const std::string directory : {VFS_get_writedir(), VFS_get_tempdir()}) {
        EXPECT_TRUE(directory.ends_with("\\qzCore tests\\init\\")) << directory;
        EXPECT_NE(VFS_isdir(directory.c_str()), 0) << directory;
        EXPECT_NE(VFS_remove(directory.c_str()), 0);
    }
    const Lines lines = log.messages();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("Using 'Saved Games': \"")) << lines[0];

    const std::string overlong(300, 'x');
    EXPECT_EQ(VFS_init(overlong.c_str(), overlong.c_str()), 1U);
    EXPECT_EQ(std::string(VFS_get_writedir()).find("xxx"), std::string::npos);
    EXPECT_EQ(std::string(VFS_get_basedir()).find("xxx"), std::string::npos);
    EXPECT_TRUE(std::string(VFS_get_basedir()).ends_with("\\"));
    EXPECT_EQ(VFS_init(nullptr, nullptr), 1U);
    EXPECT_NE(VFS_isdir(VFS_get_writedir()), 0);
}

TEST(Locations, AreListedOldestFirstAndThenTheDrives) {
    const Locations drives = allLocations();
    EXPECT_FALSE(drives.empty());
    EXPECT_EQ(add("same", "C:/One"), 1U);
    EXPECT_EQ(add("same", "C:\\One"), 1U) << "paths are not normalised";
    Locations expected = {{"same", "C:/One"}, {"same", "C:\\One"}};
    expected.insert(expected.end(), drives.begin(), drives.end());
    EXPECT_EQ(allLocations(), expected);
    const auto listAgain = [](void* context, const VFS_Location*) {
        *static_cast<Locations*>(context) = allLocations();
    };
    Locations inner;
    VFS_get_locations(listAgain, &inner);
    EXPECT_EQ(inner, expected);
    VFS_exit();
    EXPECT_EQ(allLocations(), drives);
    VFS_get_locations(nullptr, nullptr);
}

TEST(Locations, PathIsTheKeyWhateverTheCaseOfItsLetters) {
    LogCapture log;
    EXPECT_EQ(add("first", "Some/Path"), 1U);
    EXPECT_EQ(add("second", "some/pATH"), 0U);
    EXPECT_EQ(log.messages(),
              Lines{"add_location {\"second\", \"some/pATH\"}: path already added as \"first\""});
    for (const char* other : {"first", "SOME/OTHER", "SOME/PATHS"}) {
        EXPECT_EQ(VFS_del_location(other), 0U);
    }
    EXPECT_EQ(VFS_del_location("SOME/PATH"), 1U);
    EXPECT_EQ(VFS_del_location("SOME/PATH"), 0U);
    EXPECT_EQ(add("again", "Some/Path"), 1U);
}

TEST(Locations, TextsAreCutAndNullsRefused) {
    EXPECT_EQ(add(std::string(300, 'n'), std::string(300, 'p')), 1U);
    EXPECT_EQ(allLocations().front(), std::pair(std::string(255, 'n'), std::string(255, 'p')));
    const VFS_Location noName = {nullptr, "path"};
    const VFS_Location noPath = {"name", nullptr};
    EXPECT_FALSE(VFS_add_location(&noName) || VFS_add_location(&noPath));
    EXPECT_EQ(VFS_add_location(nullptr), 0U);
    EXPECT_EQ(VFS_del_location(nullptr), 0U);
}

} // namespace
