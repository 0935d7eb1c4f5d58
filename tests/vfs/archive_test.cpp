#include "VFS/Archive.h"

#include "VFS/File.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using qz::test::freshDirectory;
using qz::test::LogCapture;
using qz::test::readFile;
using qz::test::writeFile;
using Lines = std::vector<std::string>;

// What make_archives.py puts into every archive.
const std::string kDeflated = [] {
    std::string text;
    for (int count = 0; count < 1000; ++count) {
        text += "again and again ";
    }
    return text;
}();
constexpr char kBeyondAscii[] = "\u0444\u0430\u0439\u043B/\u20AC.txt";

struct Releaser {
    void operator()(void* buffer) const { vfs_free_file_buffer(buffer); }
};

std::optional<std::string> read(const std::string& path) {
    std::uint64_t size = 99;
    const std::unique_ptr<void, Releaser> buffer(vfs_read_file(path.c_str(), &size));
    if (!buffer) {
        EXPECT_EQ(size, 0U);
        return std::nullopt;
    }
    return std::string(static_cast<const char*>(buffer.get()), size);
}

// Each test works in a directory of its own, with what is mounted at first out of the way.
class VfsArchive : public ::testing::Test {
protected:
    VfsArchive() : given(fs::absolute("../archives")) {
        fs::current_path(freshDirectory());
        fs::create_directory("Temp");
        vfs_init();
        log.take();
    }
    ~VfsArchive() override { vfs_deinit(); }

    void place(const std::string& name, const std::string& as) {
        fs::copy_file(given / name, fs::path(as));
    }

    fs::path given;
    LogCapture log;
};

TEST_F(VfsArchive, TheTemporaryDirectoryIsMountedLast) {
    writeFile("Temp/a.txt", "temporary");
    fs::create_directories("data/tmp");
    writeFile("data/tmp/a.txt", "data");
    EXPECT_EQ(read("tmp/a.txt"), "temporary");
    ASSERT_NE(vfs_mount("data", "/", 0), 0);
    EXPECT_EQ(read("tmp/a.txt"), "data");

    vfs_deinit();
    log.take();
    EXPECT_EQ(vfs_mount("data", nullptr, 1), 0);
    EXPECT_EQ(read("tmp/a.txt"), std::nullopt);
    EXPECT_EQ(vfs_unmount("data"), 0);
    vfs_deinit();
    fs::remove_all("Temp");
    vfs_init();
    vfs_init();
    EXPECT_EQ(log.messages(), (Lines{"Can't mount 'data' to '/'.", "Can't open file tmp/a.txt.",
                                     "Can't unmount 'data'.", "Can't mount './Temp' to '/tmp/'.",
                                     "Can't mount './Temp' to '/tmp/'."}));
    EXPECT_NE(vfs_mount("data", "/", 1), 0);
}

TEST_F(VfsArchive, DirectoriesCountMoreThanTheirArchives) {
    place("small.zip", "data.zip");
    EXPECT_NE(vfs_mount("data", "/", 1), 0) << "the archive alone";
    EXPECT_EQ(read("fine.txt"), "fine");
    EXPECT_NE(vfs_unmount("data"), 0);
    EXPECT_EQ(read("fine.txt"), std::nullopt);
    EXPECT_EQ(log.messages(), (Lines{"Mounted data.zip to /.", "Unmounted data.zip.",
                                     "Can't open file fine.txt."}));

    fs::create_directory("data");
    writeFile("data/fine.txt", "loose");
    EXPECT_NE(vfs_mount("data", "/at/", 1), 0);
    EXPECT_EQ(read("at/fine.txt"), "loose");
    EXPECT_NE(vfs_unmount("data"), 0);
    EXPECT_NE(vfs_mount("data", "/at/", 0), 0);
    EXPECT_EQ(read("at/fine.txt"), "loose");
    fs::remove("data/fine.txt");
    EXPECT_EQ(read("at/fine.txt"), "fine");
    EXPECT_NE(vfs_unmount("data"), 0);
    EXPECT_EQ(log.messages(),
              (Lines{"Mounted data to /at/.", "Mounted data.zip to /at/.", "Unmounted data.",
                     "Unmounted data.zip.", "Mounted data.zip to /at/.", "Mounted data to /at/.",
                     "Unmounted data.", "Unmounted data.zip."}));
}

TEST_F(VfsArchive, EarlierOnesCountMore) {
    for (const std::string name : {"first", "second", "third"}) {
        fs::create_directory(name);
        writeFile(name + "/a.txt", name);
    }
    EXPECT_NE(vfs_mount("second", "/", 1), 0);
    EXPECT_NE(vfs_mount("third", "/", 1), 0);
    EXPECT_EQ(read("/a.txt"), "second");
    EXPECT_NE(vfs_mount("first", "/", 0), 0);
    EXPECT_EQ(read("a.txt"), "first");
    EXPECT_NE(vfs_mount("third", "/elsewhere", 0), 0) << "mounted already";
    EXPECT_EQ(read("elsewhere/a.txt"), std::nullopt);
}

TEST_F(VfsArchive, ArchivesOfManyMakersAreRead) {
    for (const char* name : {"python.zip", "infozip.zip", "java.jar", "zip64.zip",
                             "behind_program.zip", "behind_program64.zip"}) {
        SCOPED_TRACE(name);
        const std::string path = (given / name).string();
        ASSERT_NE(vfs_mount(path.c_str(), "/", 1), 0);
        EXPECT_EQ(read("stored.txt"), "as it is");
        EXPECT_TRUE(read("deflated.txt") == kDeflated);
        EXPECT_EQ(read("sub/one.txt"), "below");
        EXPECT_EQ(read(kBeyondAscii), "beyond ASCII");
        EXPECT_EQ(read("far.txt").has_value(), std::strstr(name, "64") != nullptr);
        EXPECT_NE(vfs_unmount(path.c_str()), 0);
    }
}

TEST_F(VfsArchive, MegabytesArriveWhole) {
    ASSERT_NE(vfs_mount((given / "big.zip").string().c_str(), "/", 1), 0);
    ASSERT_NE(vfs_mount(".", "/loose", 1), 0);
    const std::optional<std::string> stored = read("stored.bin");
    ASSERT_TRUE(stored && stored->size() == 16U << 20);
    std::string expected(stored->size(), 0);
    for (std::size_t index = 0; index < expected.size(); ++index) {
        expected[index] = static_cast<char>(index / 4 >> (8 * (index % 4)));
    }
    EXPECT_TRUE(*stored == expected);
    EXPECT_TRUE(read("deflated.bin") == stored);
    writeFile("loose.bin", *stored);
    EXPECT_TRUE(read("loose/loose.bin") == stored);
}

TEST_F(VfsArchive, PathsBeyondAsciiAndInEitherNotationAreMounted) {
    const std::string directory = "\u0434\u0430\u043D\u043D\u044B\u0435";
    ASSERT_NE(VFS_mkdir((directory + "\\sub").c_str()), 0);
    VFS_File* file = VFS_open_write((directory + "\\sub\\\u20AC.txt").c_str());
    VFS_write(file, "euro", 4);
    VFS_close(file);
    EXPECT_NE(vfs_mount((directory + "\\sub").c_str(), "/a", 1), 0);
    EXPECT_EQ(read("a/\u20AC.txt"), "euro");
    EXPECT_NE(vfs_unmount((directory + "/sub").c_str()), 0);
}

TEST_F(VfsArchive, FailuresAreOneLineEach) {
    writeFile("Temp/empty", "");
    EXPECT_EQ(vfs_mount("missing", "/there", 1), 0);
    EXPECT_EQ(vfs_mount(nullptr, nullptr, 0), 0);
    EXPECT_EQ(vfs_mount("Temp/empty", "/", 1), 0);
    EXPECT_EQ(vfs_mount(".", "/../out", 1), 0);
    EXPECT_EQ(vfs_unmount("missing"), 0);
    EXPECT_EQ(vfs_unmount(nullptr), 0);
    EXPECT_EQ(read("tmp/empty"), std::nullopt);
    EXPECT_EQ(read("tmp/missing"), std::nullopt);
    EXPECT_EQ(vfs_read_file(nullptr, nullptr), nullptr);
    vfs_free_file_buffer(nullptr);
    const std::vector<qz::test::LogLine> lines = log.take();
    Lines messages;
    for (const qz::test::LogLine& line : lines) {
        EXPECT_EQ(line.module, "VFS");
        EXPECT_EQ(line.level, 0x08U);
        messages.push_back(line.message);
    }
    EXPECT_EQ(messages,
              (Lines{"Can't mount 'missing' to '/there'.", "Can't mount '' to '/'.",
                     "Can't mount 'Temp/empty' to '/'.", "Can't mount '.' to '/../out'.",
                     "Can't unmount 'missing'.", "Can't unmount ''.", "Can't read file tmp/empty.",
                     "Can't open file tmp/missing.", "Can't open file ."}));
    EXPECT_EQ(vfs_mount(std::string(300, 'x').c_str(), "/", 1), 0);
    EXPECT_EQ(read("tmp/" + std::string(100'000, 'x')), std::nullopt);
    EXPECT_EQ(read("tmp"), std::nullopt);
    EXPECT_EQ(log.take().size(), 3U);
    EXPECT_NE(vfs_unmount("./Temp"), 0) << "no file was left open";
}

TEST_F(VfsArchive, NothingLeadsOutOfTheTree) {
    writeFile("up.txt", "outside");
    fs::create_directory("data");
    ASSERT_NE(vfs_mount("data", "/", 1), 0);
    ASSERT_NE(vfs_mount((given / "escaping.zip").string().c_str(), "/", 1), 0);
    EXPECT_EQ(read("fine.txt"), "fine");
    const std::string absolute = fs::absolute("up.txt").string();
    for (const std::string& name :
         {std::string("../up.txt"), std::string("sub/../../up.txt"), std::string("..\\up.txt"),
          std::string("..\\dosup.txt"), std::string("../dosup.txt"), std::string("/root.txt"),
          std::string("C:/drive.txt"), std::string("C:\\drive.txt"), std::string("C:/dos.txt"),
          std::string("C:\\dos.txt"), absolute}) {
        log.take();
        EXPECT_EQ(read(name), std::nullopt) << name;
        EXPECT_EQ(log.messages(), Lines{"Can't open file " + name + "."});
    }
}

TEST_F(VfsArchive, HostileArchivesAreRefused) {
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(given / "hostile")) {
        const std::string path = entry.path().string();
        log.take();
        EXPECT_EQ(vfs_mount(path.c_str(), "/", 1), 0) << path;
        EXPECT_EQ(log.messages(), Lines{"Can't mount '" + path + "' to '/'."});
        ++count;
    }
    EXPECT_GT(count, 15);
}

// Every cut and flips in every byte of a small archive: it is refused, its files are, or they are
// read; and no file is left open, which unmounting would refuse.
TEST_F(VfsArchive, DamageDoesNoHarm) {
    const std::string sound = readFile(given / "both_kinds.zip");
    const auto filesRead = [](const std::string& archive) {
        writeFile("damaged.zip", archive);
        if (vfs_mount("damaged", "/", 1) == 0) {
            return 0;
        }
        const int count = (read("s") ? 1 : 0) + (read("d") ? 1 : 0);
        EXPECT_NE(vfs_unmount("damaged"), 0);
        return count;
    };
    EXPECT_EQ(filesRead(sound), 2);
    int harmful = 0;
    for (std::size_t index = 0; index < sound.size(); ++index) {
        EXPECT_EQ(filesRead(sound.substr(0, index)), 0) << index;
        for (const char flip : {'\x01', '\xFF'}) {
            std::string damaged = sound;
            damaged[index] = static_cast<char>(damaged[index] ^ flip);
            harmful += filesRead(damaged) < 2 ? 1 : 0;
        }
    }
    EXPECT_GT(harmful, 100);
}

TEST_F(VfsArchive, BuffersOutliveTheTree) {
    writeFile("Temp/a.txt", "kept");
    std::uint64_t size = 0;
    void* buffer = vfs_read_file("tmp/a.txt", &size);
    vfs_deinit();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(std::string(static_cast<char*>(buffer), size), "kept");
    vfs_free_file_buffer(buffer);
}

TEST_F(VfsArchive, ThreadsReadAtOnce) {
    fs::create_directory("loose");
    writeFile("loose/loose.txt", "loose");
    ASSERT_NE(vfs_mount((given / "python.zip").string().c_str(), "/", 1), 0);
    ASSERT_NE(vfs_mount("loose", "/", 1), 0);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([] {
            EXPECT_EQ(read("missing.txt"), std::nullopt);
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(read("stored.txt"), "as it is");
                EXPECT_TRUE(read("deflated.txt") == kDeflated);
                EXPECT_EQ(read("loose.txt"), "loose");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
