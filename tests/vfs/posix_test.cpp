// Behaviour of Linux alone: user folders by environment, sharing, paths that are not ordinary
// files, descriptors.
#include "IO/FileStream.h"
#include "VFS/Archive.h"
#include "VFS/Locations.h"
#include "VFS/Paths.h"

#include "Core/Environment.h"
#include "support/vfs_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <vector>

namespace {

std::string asVfsPath(const fs::path& path) {
    return replaced(path.string(), "/", "\\");
}

// A home directory of the test's own. Variables that could lead out of it are unset.
struct Home : ::testing::Test {
    Home() : home(freshDirectory()) {
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
            SYS_putenv(name, nullptr);
        }
        SYS_putenv("HOME", home.c_str());
        SYS_putenv("TMPDIR", home.c_str());
    }

    // Puts a file in the way of creating a folder.
    void block(const fs::path& path) {
        fs::remove_all(home / path);
        writeFile(home / path, "in the way");
    }

    std::string writeDirectory() {
        VFS_init("app", nullptr);
        return VFS_get_writedir();
    }

    std::string expected(const std::string& folder) {
        return asVfsPath(home / folder / "app") + "\\";
    }

    fs::path home;
    LogCapture log;
};

TEST_F(Home, UserFoldersAreTriedInOrder) {
    SYS_putenv("XDG_DATA_HOME", (home / "data").c_str());
    EXPECT_EQ(writeDirectory(), expected("data"));
    SYS_putenv("XDG_DATA_HOME", "relative/data");
    EXPECT_EQ(writeDirectory(), expected(".local/share"));
    EXPECT_EQ(VFS_get_tempdir(), expected(""));
    const std::string games = "Using 'Saved Games': \"" + home.string();
    EXPECT_EQ(log.messages(), (Lines{games + "/data\"", games + "/.local/share\""}));

    block(".local");
    EXPECT_EQ(writeDirectory(), expected("Documents/My Games"));
    block("Documents/My Games");
    EXPECT_EQ(writeDirectory(), expected("Documents"));
    block("Documents");
    EXPECT_EQ(writeDirectory(), ".\\app\\");
    EXPECT_NE(VFS_isdir("app"), 0) << "created relative to the current directory";
    const std::string documents = home / "Documents";
    const std::string noSavedGames = "Can't get 'Saved Games'";
    const std::string noMyGames = "Can't create 'My Games' as \"" + documents + "/My Games\"";
    EXPECT_EQ(log.messages(),
              (Lines{noSavedGames, "Using 'My Games': \"" + documents + "/My Games\"", noSavedGames,
                     noMyGames, "Using 'My Documents': \"" + documents + "\"", noSavedGames,
                     noMyGames, "Can't get 'My Documents' folder"}));
}

TEST_F(Home, TemporaryDirectoryIsTheUsersOwn) {
    const auto temporary = [&](const char* application) {
        VFS_init(application, nullptr);
        const std::string path = VFS_get_tempdir();
        const std::string prefix = asVfsPath(home) + "\\";
        return path.starts_with(prefix) ? path.substr(prefix.size()) : path;
    };
    EXPECT_EQ(temporary("a\\b"), "a\\b\\");
    EXPECT_EQ(temporary("a\\b"), "a\\b\\") << "it is there now";
    EXPECT_EQ(fs::status(home / "a").permissions(), fs::perms::owner_all);
    fs::create_directory_symlink(home / "a", home / "link");
    EXPECT_EQ(temporary("link/b"), "link-1\\b\\");
    fs::permissions(home / "a", fs::perms::all);
    EXPECT_EQ(temporary("a"), "a-1\\");
    block("a-2");
    fs::permissions(home / "a-1", fs::perms::all);
    EXPECT_EQ(temporary("a"), "a-3\\");
    if (geteuid() == 0) {
        ASSERT_EQ(chown((home / "a-3").c_str(), 12, 34), 0);
        EXPECT_EQ(temporary("a"), "a-4\\");
    }
    for (int i = 1; i < 16; ++i) {
        block("a-" + std::to_string(i));
    }
    EXPECT_EQ(temporary("a"), ".\\a\\");
}

TEST_F(Home, DocumentsFolderComesFromTheUsersConfigurationIfItIsUsable) {
    block(".local");
    const std::string key = "XDG_DOCUMENTS_DIR=";
    const auto directoryBy = [&](const std::string& configuration) {
        writeFile(home / ".config/user-dirs.dirs", configuration);
        return writeDirectory();
    };
    EXPECT_EQ(directoryBy("# " + key + "\"$HOME/no\"\n" + key + "\"$HOME/first\"\n  " + key +
                          "\"$HOME/Doku\\\"mente/\"\nXDG_MUSIC_DIR=\"$HOME/Musik\"\n"),
              expected("Doku\"mente/My Games"));
    EXPECT_EQ(directoryBy(key + "\"" + (home / "absolute").string() + "\""),
              expected("absolute/My Games"));
    EXPECT_EQ(directoryBy(key + "\"$HOME/\"\n"), expected("My Games"))
        << "how a user without the folder says so";
    for (const std::string& unusable :
         {""s, "\""s, "\"$HOME/open"s, "\"$HOME/open\\"s, "\"relative\""s, "\"$HOMEless\""s,
          "\"/nul\0\""s, "\"/" + std::string(100000, 'x') + "\""}) {
        EXPECT_EQ(directoryBy(key + unusable), expected("Documents/My Games"))
            << unusable.substr(0, 80);
    }
    EXPECT_EQ(directoryBy(std::string(100000, '\n') + key + "\"/behind the limit\""),
              expected("Documents/My Games"));
    fs::remove(home / ".config/user-dirs.dirs");
    ASSERT_EQ(mkfifo((home / ".config/user-dirs.dirs").c_str(), 0600), 0);
    EXPECT_EQ(writeDirectory(), expected("Documents/My Games"));
}

struct Posix : InDirectory {};

TEST_F(Posix, ReadersAndWritersDoNotHinderEachOther) {
    const File writer = openWrite("a.txt");
    ASSERT_EQ(VFS_write(writer.get(), "abc", 3), 3U);
    const File reader = openRead("a.txt");
    char text[4] = {};
    EXPECT_EQ(VFS_read(reader.get(), text, 3), 3U);
    EXPECT_STREQ(text, "abc");
    EXPECT_NE(VFS_remove("a.txt"), 0);
    EXPECT_TRUE(openWrite("a.txt")) << "another file by now";
}

TEST_F(Posix, WhatIsNoOrdinaryFileIsRefusedWithoutWaiting) {
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    const int otherEnd = open("fifo", O_RDWR | O_CLOEXEC);
    for (const char* path : {"fifo", "/dev/null"}) {
        EXPECT_FALSE(openRead(path) || openWrite(path)) << path;
        EXPECT_NE(VFS_exists(path), 0) << path;
    }
    close(otherEnd);
    EXPECT_FALSE(openRead("fifo") || openAppend("fifo"));
}

TEST_F(Posix, AnArchiveTakesOneDescriptor) {
    const LogCapture log;
    const std::string given = readFile("../../archives/small.zip");
    vfs_init();
    constexpr std::ptrdiff_t kArchives = 50;
    const std::ptrdiff_t before = countIn("/proc/self/fd");
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < kArchives; ++i) {
            const std::string number = std::to_string(i);
            writeFile(number + ".zip", given);
            const int next = dup(STDIN_FILENO);
            close(next);
            ASSERT_NE(vfs_mount(number.c_str(), number.c_str(), 1), 0);
            EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
            const io::MountedStream stream((number + "/fine.txt").c_str());
            EXPECT_TRUE(stream.isGood());
            EXPECT_EQ(countIn("/proc/self/fd") - before, i + 1) << round;
        }
        for (int i = 0; i < kArchives; ++i) {
            EXPECT_NE(vfs_unmount(std::to_string(i).c_str()), 0);
        }
        EXPECT_EQ(countIn("/proc/self/fd"), before);
    }
    const int next = dup(STDIN_FILENO);
    close(next);
    ASSERT_NE(vfs_mount("0", nullptr, 1), 0);
    dup2(STDERR_FILENO, next); // as in a host that closes all descriptors and opens its own files
    EXPECT_NE(vfs_unmount("0"), 0);
    EXPECT_EQ(close(next), 0);
    vfs_deinit();
}

TEST_F(Posix, AnArchiveThatCouldNotBeReadIsReadAnew) {
    const LogCapture log;
    const fs::path whole = "../../archives/big.zip";
    fs::copy_file(whole, "big.zip");
    vfs_init();
    ASSERT_NE(vfs_mount("big", nullptr, 1), 0);
    std::vector<std::uint32_t> words(1 << 18);
    const std::size_t size = words.size() * sizeof words[0];
    for (const char* path : {"stored.bin", "deflated.bin"}) { // of words that count up
        io::MountedStream stream(path);
        fs::resize_file("big.zip", 1 << 16);
        EXPECT_EQ(stream.read(words.data(), size), 0U) << path;
        EXPECT_FALSE(stream.isGood()) << path;
        fs::copy_file(whole, "big.zip", fs::copy_options::overwrite_existing);
        stream.clearError();
        EXPECT_EQ(stream.read(words.data(), size), size) << path;
        EXPECT_EQ(words.back(), words.size() - 1) << path;
    }
    vfs_deinit();
}

TEST_F(Posix, HandlesAreNotInheritedAndWhatClosingReportsIsLogged) {
    LogCapture log;
    const int next = dup(STDIN_FILENO);
    close(next);
    File file = openWrite("file");
    EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
    ASSERT_EQ(close(next), 0) << "the file's descriptor";
    file.reset();
    EXPECT_EQ(log.messages(), Lines{"CloseHandle(file): Bad file descriptor"});
}

TEST_F(Posix, NoThreadIsCancelledWithinACall) {
    writeFile("data/file", "text");
    bool isDone = false;
    std::thread([&isDone] {
        pthread_cancel(pthread_self());
        vfs_init();
        EXPECT_NE(vfs_mount("data", nullptr, 1), 0);
        vfs_free_file_buffer(vfs_read_file("file", nullptr));
        EXPECT_EQ(vfs_get_kind("file", nullptr), VFS_KIND_FILE);
        char c = 0;
        EXPECT_EQ(io::MountedStream("file").read(&c, 1), 1U);
        EXPECT_TRUE(io::FileStream("new", io::FileStream::Mode::kReplace).close());
        io::FileStream("other", io::FileStream::Mode::kReplace).write("text", 4);
        vfs_deinit();
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        isDone = true;
    }).join();
    EXPECT_TRUE(isDone);
}

// Not on Windows, which touches the whole buffer before it reads anything into it.
TEST_F(Posix, CountsAboveFourGibibytesAreNotCut) {
    writeFile("a.txt", "text");
    const File file = openRead("a.txt");
    // The low 32 bits are zero: a count cut to them would read nothing.
    constexpr std::size_t kCount = std::size_t{1} << 32;
    void* const room = mmap(nullptr, kCount, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(room, MAP_FAILED);
    EXPECT_EQ(VFS_read(file.get(), room, kCount), 4U);
    EXPECT_STREQ(static_cast<char*>(room), "text");
    munmap(room, kCount);
}

TEST_F(Posix, RemovingALinkLeavesWhatItPointsAt) {
    fs::create_directory("directory");
    fs::create_directory_symlink("directory", "link");
    EXPECT_NE(VFS_isdir("link"), 0);
    EXPECT_NE(VFS_remove("link"), 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status("link")));
    EXPECT_TRUE(fs::is_directory("directory"));
}

TEST_F(Posix, AnyBytesAreAName) {
    EXPECT_TRUE(openWrite("caf\xE9"));
    EXPECT_TRUE(fs::exists("caf\xE9"));
}

TEST_F(Posix, RootIsTheFirstDrive) {
    EXPECT_EQ(allLocations().at(0), std::pair("/"s, "\\"s));
}

TEST_F(Posix, NormcaseFollowsTheProcessesLocale) {
    char folded[16];
    EXPECT_EQ(VFS_path_normcase(folded, sizeof folded, "\u00C9"), 1U);
    EXPECT_STREQ(folded, "\u00C9") << "the C locale knows the letters of ASCII only";
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(VFS_path_normcase(folded, sizeof folded, "\u00C9\u0394"), 1U);
    EXPECT_STREQ(folded, "\u00E9\u03B4");
}

} // namespace
