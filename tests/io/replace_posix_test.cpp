// Replacing a file on Linux. The fault driver fills the disk, and the example host's test shows
// that a killed process leaves a whole file.
#include "IO/FileStream.h"

#include "Shm/MappedFile.h"
#include "Shm/RingBuffer.h"
#include "support/ordinary_user.h"
#include "support/test.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>

namespace {

using Mode = io::FileStream::Mode;

bool replace(const std::string& path, const std::string& bytes) {
    io::FileStream file(path.c_str(), Mode::kReplace);
    file.write(bytes.data(), bytes.size());
    return file.close();
}

struct IoReplacePosix : InDirectory {
    IoReplacePosix() { writeFile("file", "old"); }
};

TEST_F(IoReplacePosix, KeepsRightsAndLinks) {
    ASSERT_EQ(chmod("file", 0640), 0);
    fs::create_symlink("file", "link");
    ASSERT_TRUE(replace("link", "new"));
    EXPECT_EQ(fs::symlink_status("file").permissions(), fs::perms(0640));
    EXPECT_EQ(readFile("file"), "new");
    EXPECT_TRUE(fs::is_symlink("link"));

    io::FileStream secret("file", Mode::kReplace);
    ASSERT_EQ(chmod("file", 0600), 0);
    EXPECT_TRUE(secret.close());
    EXPECT_EQ(fs::status("file").permissions(), fs::perms(0600)) << "changed meanwhile";

    ASSERT_TRUE(replace("file", "new"));
    ASSERT_EQ(chmod("file", 0444) + chmod(".", 0777), 0);
    {
        const OrdinaryUser user; // may not even be able to reach the file
        EXPECT_FALSE(replace("file", "newer")) << "write-protected";
    }
    EXPECT_EQ(readFile("file"), "new");
}

// 255 characters of two bytes each, and one more.
TEST_F(IoReplacePosix, KnowsTheWholeOfALongPath) {
    const std::string folder = "d" + repeated("\u0416", 124);
    const std::string path = folder + "/" + folder + "/abc";
    writeFile(path, "old");
    EXPECT_FALSE(replace(path + "d", "too long"));
    // Somebody else has the turn, for longer than anybody waits.
    const int others = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(others, LOCK_EX), 0);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(replace(path, "new"));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(900));
    close(others);
    EXPECT_EQ(readFile(path), "new");
}

// What others print would land in them.
TEST_F(IoReplacePosix, NothingTakesThePlaceOfAClosedStandardStream) {
    const pid_t child = fork();
    if (child == 0) {
        constexpr int kStandard[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
        std::ranges::for_each(kStandard, close);
        const io::FileStream replacing("new", Mode::kReplace);
        const misc::mmf mapped("file", false);
        const std::string name = "qz streams " + std::to_string(getpid());
        CRingMessageBuffer* const ring = CRingMessageBuffer::OpenNew(name.c_str(), 0, nullptr);
        const bool areOpen = replacing.isOpen() && mapped.error()[0] == 0 && ring != nullptr;
        const bool areAbove =
            std::ranges::none_of(kStandard, [](int file) { return write(file, "x", 1) == 1; });
        ring->Close(1);
        _exit(areOpen && areAbove ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(IoReplacePosix, ClosedFilesAreFreeThoughAChildHasThemOpen) {
    VFS_File* const written = VFS_open_write("written");
    io::FileStream replacing("replaced", Mode::kReplace);
    auto left = std::make_unique<io::FileStream>("left", Mode::kReplace);
    const pid_t careless = fork();
    if (careless == 0) {
        left.reset();
        _exit(0);
    }
    waitpid(careless, nullptr, 0);
    EXPECT_TRUE(left->close()) << "the child's copy is another one";
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    VFS_close(written);
    EXPECT_TRUE(replacing.close());
    for (const char* closed : {"written", "replaced"}) {
        VFS_File* const again = VFS_open_write(closed);
        EXPECT_NE(again, nullptr) << closed;
        VFS_close(again);
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

} // namespace
