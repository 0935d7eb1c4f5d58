// Saving over a file on Linux: links, owner, rights, files that a killed process left.
#include "config/describe.h"

#include "support/ordinary_user.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

using namespace qz::test;

bool save(const fs::path& file, const std::string& text = "a = 1;") {
    ConfigParser parser;
    return parser.parse(text.c_str(), 0) && parser.save(file.string());
}

struct stat statusOf(const fs::path& file) {
    struct stat status {};
    EXPECT_EQ(lstat(file.c_str(), &status), 0) << file;
    return status;
}

fs::path makeFile(const fs::path& file, mode_t mode) {
    writeFile(file, "old");
    EXPECT_EQ(chmod(file.c_str(), mode), 0);
    return file;
}

// While it lives, the size of files is limited, and a larger write fails.
class SmallDisk : NonCopyable {
public:
    explicit SmallDisk(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_DFL);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~SmallDisk() { setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

TEST(ConfigSavePosix, KeepsOwnerAndRights) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg", 0640);
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown(file.c_str(), 12, 34), 0);
    }
    const ino_t before = statusOf(file).st_ino;
    ASSERT_TRUE(save(file));
    const struct stat after = statusOf(file);
    EXPECT_EQ(after.st_mode & 07777U, 0640U);
    EXPECT_NE(after.st_ino, before) << "in one step";
    if (isRoot) {
        EXPECT_EQ(after.st_uid, 12U);
        EXPECT_EQ(after.st_gid, 34U);
    }
}

TEST(ConfigSavePosix, KeepsTheAccessList) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg", 0600);
    // Version 2; owner rw, user 12 rw, group nothing, mask rw, others nothing.
    const unsigned char list[] = "\2\0\0\0\1\0\6\0\377\377\377\377\2\0\6\0\14\0\0\0\4\0\0\0\377\377"
                                 "\377\377\20\0\6\0\377\377\377\377\40\0\0\0\377\377\377\377";
    constexpr char kName[] = "system.posix_acl_access";
    if (setxattr(file.c_str(), kName, list, sizeof list - 1, 0) != 0) {
        GTEST_SKIP() << "the file system has no access lists";
    }
    ASSERT_TRUE(save(file));
    unsigned char kept[sizeof list] = {};
    ASSERT_EQ(getxattr(file.c_str(), kName, kept, sizeof kept),
              static_cast<ssize_t>(sizeof list - 1))
        << "the mask alone would let the group write";
    EXPECT_TRUE(std::equal(kept, kept + sizeof list - 1, list));
}

TEST(ConfigSavePosix, FollowsLinks) {
    const fs::path directory = freshDirectory();
    fs::create_directories(directory / "real");
    makeFile(directory / "real/a.cfg", 0644);
    fs::create_symlink("real/second", directory / "link.cfg");
    fs::create_symlink(directory / "real/a.cfg", directory / "real/second");
    fs::create_symlink("nowhere", directory / "dangling");
    fs::create_symlink("circle", directory / "circle");
    EXPECT_TRUE(save(directory / "link.cfg"));
    EXPECT_EQ(readFile(directory / "real/a.cfg"), "a = 1;\r\n");
    EXPECT_TRUE(S_ISLNK(statusOf(directory / "link.cfg").st_mode));
    EXPECT_TRUE(S_ISLNK(statusOf(directory / "real/second").st_mode));
    EXPECT_FALSE(save(directory / "dangling"));
    EXPECT_FALSE(save(directory / "circle"));

    // In a directory whose path is longer than the system allows, there is no absolute path.
    const fs::path deep(std::string(250, 'd'));
    const fs::path start = fs::current_path();
    fs::current_path(directory);
    for (int i = 0; i < 17; ++i) {
        ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
        ASSERT_EQ(chdir(deep.c_str()), 0);
    }
    makeFile("a.cfg", 0600);
    fs::create_symlink("a.cfg", "link.cfg");
    EXPECT_TRUE(save("link.cfg"));
    EXPECT_TRUE(S_ISLNK(statusOf("link.cfg").st_mode));
    EXPECT_EQ(statusOf("a.cfg").st_mode & 07777U, 0600U);
    fs::current_path(start);
    fs::remove_all(directory);
}

TEST(ConfigSavePosix, RemovesWhatKilledProcessesLeft) {
    const fs::path directory = freshDirectory();
    const fs::path file = makeFile(directory / "a.cfg", 0644);
    const fs::path left = makeFile(directory / "a.cfg.qzsave-12345-0", 0600);
    writeFile(directory / "b.cfg", "another file");
    writeFile(directory / "a.cfg.tmp", "of somebody else");

    // A locked file belongs to a process that is still writing it.
    const int living = open(left.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(living, LOCK_EX), 0);
    EXPECT_TRUE(save(file));
    EXPECT_TRUE(fs::exists(left));
    EXPECT_TRUE(save(directory / "b.cfg"));
    close(living);
    EXPECT_TRUE(save(directory / "b.cfg"));
    EXPECT_TRUE(fs::exists(left)) << "left by another file's save";
    EXPECT_TRUE(save(file));
    EXPECT_FALSE(fs::exists(left));
    EXPECT_EQ(countIn(directory), 3);
}

// A directory that every user can reach; the working directory may not be one.
class PublicDirectory : NonCopyable {
public:
    PublicDirectory() : path(fs::temp_directory_path() / ("qz_test." + std::to_string(getpid()))) {
        fs::create_directory(path);
    }
    ~PublicDirectory() { fs::remove_all(path); }

    const fs::path path;
};

TEST(ConfigSavePosix, WritesInPlaceWhatCannotKeepItsOwner) {
    const PublicDirectory place;
    const fs::path& directory = place.path;
    const fs::path foreign = makeFile(directory / "foreign.cfg", 0666);
    ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
    const uid_t owner = statusOf(foreign).st_uid;
    const OrdinaryUser user;
    EXPECT_TRUE(save(foreign));
    EXPECT_EQ(statusOf(foreign).st_uid, owner);
    EXPECT_EQ(readFile(foreign), "a = 1;\r\n");
}

TEST(ConfigSavePosix, WritesInPlaceWhereNoFileCanBeMade) {
    const PublicDirectory place;
    const fs::path& directory = place.path;
    const fs::path file = makeFile(directory / "a.cfg", 0444);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
    }
    ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
    {
        const OrdinaryUser user;
        const ino_t before = statusOf(file).st_ino;
        EXPECT_TRUE(save(file, "long = \"0123456789\";"));
        EXPECT_TRUE(save(file));
        EXPECT_EQ(statusOf(file).st_ino, before);
        EXPECT_EQ(statusOf(file).st_mode & 07777U, 0644U);
        {
            const SmallDisk disk(20);
            EXPECT_FALSE(save(file, "long = \"0123456789\";"));
        }
        EXPECT_EQ(readFile(file), "a = 1;\r\n");
        EXPECT_FALSE(save(directory / "new.cfg"));
    }
    EXPECT_EQ(countIn(directory), 1);
    ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
}

TEST(ConfigSavePosix, KeepsTheOldContentsOnAFullDisk) {
    const fs::path directory = freshDirectory();
    const fs::path file = makeFile(directory / "a.cfg", 0644);
    {
        const SmallDisk disk(4);
        EXPECT_FALSE(save(file));
    }
    EXPECT_EQ(readFile(file), "old");
    EXPECT_EQ(countIn(directory), 1);
}

TEST(ConfigSavePosix, IsNotHeldUpByForeignLocks) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg", 0644);
    ASSERT_TRUE(save(file));
    ConfigParser parser;
    ASSERT_TRUE(parser.parse(file.string()));
    const auto lock = [](const fs::path& path) {
        const int opened = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(flock(opened, LOCK_EX), 0);
        return opened;
    };
    const int directory = lock(file.parent_path());
    const int locked = lock(file);
    // Signals do not make the wait shorter.
    std::signal(SIGALRM, [](int) {});
    const itimerval often{{0, 200}, {0, 200}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(parser.saveEdited());
    EXPECT_TRUE(save(file));
    const auto duration = std::chrono::steady_clock::now() - begin;
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(duration, std::chrono::milliseconds(900));
    EXPECT_LT(duration, std::chrono::seconds(10));
    close(locked);
    close(directory);
}

TEST(ConfigSavePosix, TakesEveryNameThatTheSystemTakes) {
    fs::current_path(freshDirectory());
    EXPECT_TRUE(save(std::string(250, 'n')));
    EXPECT_TRUE(save(std::string(250, 'n')));
    EXPECT_EQ(countIn("."), 1);
}

} // namespace
