// Saving over a file on Linux: links, owner, rights.
#include "config/describe.h"

#include "support/ordinary_user.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <thread>

namespace {

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

TEST(ConfigSavePosix, KeepsOwnerAndRights) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg", 0640);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(file.c_str(), 12, 34), 0);
    }
    const struct stat before = statusOf(file);
    ASSERT_TRUE(save(file));
    const struct stat after = statusOf(file);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_NE(after.st_ino, before.st_ino) << "in one step";
}

TEST(ConfigSavePosix, KeepsTheAccessList) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg", 0600);
    // Version 2; owner rw, user 12 rw, group nothing, mask rw, others nothing.
    const std::string list = "\2\0\0\0\1\0\6\0\377\377\377\377\2\0\6\0\14\0\0\0\4\0\0\0\377\377"
                             "\377\377\20\0\6\0\377\377\377\377\40\0\0\0\377\377\377\377"s;
    constexpr char kName[] = "system.posix_acl_access";
    if (setxattr(file.c_str(), kName, list.data(), list.size(), 0) != 0) {
        GTEST_SKIP() << "the file system has no access lists";
    }
    ASSERT_TRUE(save(file));
    std::string kept(100, 0);
    const ssize_t size = getxattr(file.c_str(), kName, kept.data(), kept.size());
    ASSERT_GT(size, 0);
    kept.resize(static_cast<std::size_t>(size));
    EXPECT_EQ(kept, list) << "the mask alone would let the group write";
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

TEST(ConfigSavePosix, WritesInPlaceWhereItHasTo) {
    // A directory that every user can reach; the working directory may not be one.
    const fs::path directory = fs::temp_directory_path() / ("qz_test." + std::to_string(getpid()));
    fs::create_directory(directory);
    ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
    const fs::path foreign = makeFile(directory / "foreign.cfg", 0666);
    const uid_t owner = statusOf(foreign).st_uid;
    const fs::path own = makeFile(directory / "own.cfg", 0444);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(own.c_str(), kNobody, kNobody), 0);
    }
    {
        const OrdinaryUser user; // who could make a file, but not give it the foreign owner
        EXPECT_TRUE(save(foreign));
        EXPECT_EQ(statusOf(foreign).st_uid, owner);
        EXPECT_EQ(readFile(foreign), "a = 1;\r\n");
    }
    ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
    {
        const OrdinaryUser user; // who can make no file
        const ino_t before = statusOf(own).st_ino;
        EXPECT_TRUE(save(own, "long = \"0123456789\";"));
        EXPECT_TRUE(save(own));
        EXPECT_EQ(statusOf(own).st_ino, before);
        EXPECT_EQ(statusOf(own).st_mode & 07777U, 0644U);
        EXPECT_FALSE(save(directory / "new.cfg"));
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = 20; // as on a small disk
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_FALSE(save(own, "long = \"0123456789\";"));
        EXPECT_EQ(readFile(own), "a = 1;\r\n");
    }
    EXPECT_EQ(countIn(directory), 2);
    ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
    fs::remove_all(directory);
}

TEST(ConfigSavePosix, IsNoPlaceToBeCancelled) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg", 0644);
    ASSERT_TRUE(save(file));
    bool isDone = false;
    std::thread([&] {
        pthread_cancel(pthread_self());
        ConfigParser parser;
        isDone = parser.parse(file.string()) && parser.setPath("a", 2) && parser.saveEdited();
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }).join();
    EXPECT_TRUE(isDone);
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

} // namespace
