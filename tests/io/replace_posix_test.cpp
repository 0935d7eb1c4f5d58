// What becomes of a file that is replaced, on Linux: rights, a full disk, a killed process.
#include "IO/FileStream.h"

#include "support/log_capture.h"
#include "support/ordinary_user.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using qz::test::freshDirectory;
using qz::test::readFile;
using qz::test::writeFile;
using Mode = io::FileStream::Mode;

bool replace(const std::string& path, const std::string& bytes) {
    io::FileStream file(path.c_str(), Mode::kReplace);
    file.write(bytes.data(), bytes.size());
    return file.close();
}

TEST(IoReplacePosix, KeepsRightsAndLinks) {
    const fs::path directory = freshDirectory();
    const std::string path = (directory / "file").string();
    writeFile(path, "old");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    fs::create_symlink("file", directory / "link");
    ASSERT_TRUE(replace((directory / "link").string(), "new"));
    struct stat status {};
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(readFile(path), "new");
    EXPECT_TRUE(fs::is_symlink(directory / "link"));

    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
    {
        const qz::test::OrdinaryUser user; // who may not even reach the file
        EXPECT_FALSE(replace(path, "newer")) << "write-protected";
    }
    EXPECT_EQ(readFile(path), "new");
}

TEST(IoReplacePosix, AFullDiskLeavesTheOldFile) {
    const fs::path directory = freshDirectory();
    const std::string path = (directory / "file").string();
    writeFile(path, "old");
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{50'000, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_FALSE(replace(path, std::string(50'001, 'n')));
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1);
    EXPECT_TRUE(replace(path, std::string(50'000, 'n')));
}

// Each version is one letter, many times, so that a mixture would show.
[[noreturn]] void replaceForEver(const std::string& path) {
    for (unsigned i = 0;; ++i) {
        replace(path, std::string(100'000 + i % 7 * 1000, static_cast<char>('a' + i % 26)));
    }
}

TEST(IoReplacePosix, AKilledProcessLeavesAWholeFile) {
    const fs::path directory = freshDirectory();
    const std::string path = (directory / "file").string();
    ASSERT_TRUE(replace(path, std::string(100'000, 'z')));
    for (useconds_t i = 0; i < 30; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            replaceForEver(path);
        }
        usleep(500 + i * 331);
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        const std::string bytes = readFile(path);
        ASSERT_EQ(bytes, std::string(bytes.size(), bytes.at(0)));
        ASSERT_EQ(bytes.size() % 1000, 0U);
        ASSERT_GE(bytes.size(), 100'000U);
    }
    EXPECT_TRUE(replace(path, "last"));
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1) << "what they left is gone";
}

} // namespace
