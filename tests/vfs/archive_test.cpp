#include "VFS/Archive.h"

#include "support/vfs_file.h"

namespace {

// The contents that make_archives.py puts into every archive.
const std::string kDeflated = repeated("again and again ", 1000);
constexpr char kBeyondAscii[] = "\u0444\u0430\u0439\u043B/\u20AC.txt";

// The contents of a buffer, which it releases; none if there is no buffer.
std::optional<std::string> taken(void* buffer, std::uint64_t size) {
    std::optional<std::string> bytes;
    if (buffer != nullptr) {
        bytes.emplace(static_cast<const char*>(buffer), size);
    }
    vfs_free_file_buffer(buffer);
    return bytes;
}

std::optional<std::string> read(const std::string& path) {
    std::uint64_t size = 99;
    void* const buffer = vfs_read_file(path.c_str(), &size);
    EXPECT_TRUE(buffer != nullptr || size == 0);
    return taken(buffer, size);
}

std::optional<std::string> readOptional(const std::string& path, int expected) {
    void* buffer = nullptr;
    std::uint64_t size = 99;
    EXPECT_EQ(vfs_read_optional_file(path.c_str(), &buffer, &size), expected) << path;
    EXPECT_EQ(buffer != nullptr, expected == 1);
    return taken(buffer, size);
}

int list(const char* path, Lines& names) {
    const auto add = [](void* context, const char* name) {
        static_cast<Lines*>(context)->emplace_back(name);
    };
    return vfs_list(path, add, &names);
}

Lines list(const char* path) {
    Lines names;
    EXPECT_EQ(list(path, names), 1) << path;
    return names;
}

bool mount(const std::string& what, const char* where = "/", int last = 1) {
    return vfs_mount(what.c_str(), where, last) != 0;
}

bool unmount(const std::string& what) {
    return vfs_unmount(what.c_str()) != 0;
}

// Each test works in a directory of its own, with an empty ./Temp, which is mounted at first.
struct VfsArchive : InDirectory {
    VfsArchive() {
        fs::create_directory("Temp");
        vfs_init();
        log.take();
    }
    ~VfsArchive() override { vfs_deinit(); }

    const fs::path given = fs::absolute("../../archives");
    LogCapture log;
};

TEST_F(VfsArchive, TheTemporaryDirectoryIsMountedLast) {
    writeFile("Temp/a.txt", "temporary");
    writeFile("data/tmp/a.txt", "data");
    std::uint64_t size = 0;
    void* const buffer = vfs_read_file("tmp/a.txt", &size);
    ASSERT_TRUE(mount("data", "/", 0));
    EXPECT_EQ(read("tmp/a.txt"), "data");

    vfs_deinit();
    EXPECT_EQ(taken(buffer, size), "temporary") << "it outlives";
    log.take();
    EXPECT_FALSE(mount("data"));
    EXPECT_EQ(read("tmp/a.txt"), std::nullopt);
    EXPECT_FALSE(unmount("data"));
    vfs_deinit();
    fs::remove_all("Temp");
    vfs_init();
    vfs_init();
    EXPECT_EQ(log.messages(), (Lines{"Can't mount 'data' to '/'.", "Can't open file tmp/a.txt.",
                                     "Can't unmount 'data'.", "Can't mount './Temp' to '/tmp/'.",
                                     "Can't mount './Temp' to '/tmp/'."}));
    EXPECT_TRUE(mount("data"));
}

TEST_F(VfsArchive, DirectoriesCountMoreThanTheirArchives) {
    fs::copy_file(given / "small.zip", "data.zip");
    EXPECT_TRUE(mount("data")) << "the archive alone";
    EXPECT_EQ(read("fine.txt"), "fine");
    EXPECT_TRUE(unmount("data"));
    EXPECT_EQ(read("fine.txt"), std::nullopt);
    EXPECT_EQ(log.messages(), (Lines{"Mounted data.zip to /.", "Unmounted data.zip.",
                                     "Can't open file fine.txt."}));

    writeFile("data/fine.txt", "loose");
    EXPECT_TRUE(mount("data", "/at/", 1));
    EXPECT_EQ(read("at/fine.txt"), "loose");
    EXPECT_TRUE(unmount("data"));
    EXPECT_TRUE(mount("data", "/at/", 0));
    EXPECT_EQ(read("at/fine.txt"), "loose");
    fs::remove("data/fine.txt");
    EXPECT_EQ(read("at/fine.txt"), "fine");
    EXPECT_EQ(log.messages(),
              (Lines{"Mounted data to /at/.", "Mounted data.zip to /at/.", "Unmounted data.",
                     "Unmounted data.zip.", "Mounted data.zip to /at/.", "Mounted data to /at/."}));
}

TEST_F(VfsArchive, EarlierOnesCountMore) {
    for (const std::string name : {"first", "second", "third"}) {
        writeFile(name + "/a.txt", name);
    }
    EXPECT_TRUE(mount("second") && mount("third"));
    EXPECT_EQ(read("/a.txt"), "second");
    EXPECT_TRUE(mount("first", "/", 0));
    EXPECT_EQ(read("a.txt"), "first");
    EXPECT_TRUE(mount("third", "/elsewhere", 0)) << "mounted already";
    EXPECT_EQ(read("elsewhere/a.txt"), std::nullopt);
}

TEST_F(VfsArchive, ArchivesOfManyMakersAreRead) {
    for (const char* name :
         {"python.zip", "infozip.zip", "zip64.zip", "behind_program.zip", "behind_program64.zip"}) {
        SCOPED_TRACE(name);
        const std::string path = (given / name).string();
        ASSERT_TRUE(mount(path));
        EXPECT_EQ(read("stored.txt"), "as it is");
        EXPECT_TRUE(read("deflated.txt") == kDeflated);
        EXPECT_EQ(read("sub/one.txt"), "below");
        EXPECT_EQ(read(kBeyondAscii), "beyond ASCII");
        EXPECT_EQ(read("far.txt").has_value(), std::strstr(name, "64") != nullptr);
        EXPECT_TRUE(unmount(path));
    }
}

// Archives and directories that are mounted at one place show the entries of all of them.
TEST_F(VfsArchive, WhatIsThereIsToldAndListed) {
    writeFile("data/stored.txt", "loose");
    writeFile("data/sub/two.txt", "");
    writeFile("late/stored.txt/below.txt", "below");
    ASSERT_TRUE(mount("data") && mount("late") && mount((given / "python.zip").string()));
    fs::create_directory("far");
    ASSERT_TRUE(mount("far", "/far/away/", 1));
    const auto kindAndSize = [](const std::string& path) {
        std::uint64_t size = 99;
        const vfs_kind kind = vfs_get_kind(path.c_str(), &size);
        const char* const name = kind == VFS_KIND_FILE        ? "file "
                                 : kind == VFS_KIND_DIRECTORY ? "folder "
                                                              : "none ";
        return name + std::to_string(size);
    };
    expectEach(kindAndSize, "stored.txt => file 5", "deflated.txt => file 16000",
               "/sub//two.txt => file 0", "stored.txt/below.txt => file 5", "sub/ => folder 0",
               " => folder 0", "far => folder 0", "tmp => folder 0", "sub/three.txt => none 0",
               "sub\\two.txt => none 0", "far/away/.. => none 0", "far/away/./ => none 0");
    EXPECT_EQ(list("sub"), (Lines{"one.txt", "two.txt"}));
    EXPECT_EQ(list("/"), list(""));
    EXPECT_EQ(list("stored.txt"), Lines{"below.txt"});
    EXPECT_EQ(list("far"), Lines{"away"});
    EXPECT_EQ(list("tmp"), Lines{});
    Lines none;
    EXPECT_EQ(list("stored.txt/below.txt", none) + list("far/away/..", none) + list("no", none), 0);
    EXPECT_EQ(log.messages().size(), 4U) << "what was mounted, and no error";
    vfs_list(
        "", [](void*, const char* name) { unmount(name); }, nullptr);
    vfs_deinit();
    log.take();
    EXPECT_EQ(list("", none), -1);
    EXPECT_EQ(vfs_get_kind("sub", nullptr), VFS_KIND_UNKNOWN);
    EXPECT_EQ(log.messages(), (Lines{"Can't list directory .", "Can't look for sub."}));
}

TEST_F(VfsArchive, MissingFilesMayBeOptional) {
    writeFile("data/fine.txt", "fine");
    writeFile("data/empty.txt", "");
    std::string archive = readFile(given / "both_kinds.zip");
    archive[68] = '\xFF'; // the first byte of the deflated file's data
    writeFile("damaged.zip", archive);
    ASSERT_TRUE(mount("data") && mount("damaged"));
    log.take();
    EXPECT_EQ(readOptional("fine.txt", 1), "fine");
    EXPECT_EQ(readOptional("empty.txt", 1), "");
    for (const char* path : {"missing.txt", "missing/fine.txt", "tmp", "", "a\\b", "../data"}) {
        readOptional(path, 0);
    }
    EXPECT_EQ(log.messages(), Lines{});
    readOptional("d", -1);
    EXPECT_EQ(log.messages(),
              (Lines{"damaged.zip: d: its data is damaged.", "Error reading file d."}));
}

TEST_F(VfsArchive, MegabytesArriveWhole) {
    ASSERT_TRUE(mount((given / "big.zip").string()) && mount(".", "/loose"));
    const std::optional<std::string> stored = read("stored.bin");
    std::vector<std::uint32_t> words(4U << 20);
    std::iota(words.begin(), words.end(), 0U);
    ASSERT_EQ(stored.value().size(), 4 * words.size());
    EXPECT_EQ(std::memcmp(stored->data(), words.data(), stored->size()), 0);
    EXPECT_TRUE(read("deflated.bin") == stored);
    writeFile("loose.bin", *stored);
    EXPECT_TRUE(read("loose/loose.bin") == stored);
}

TEST_F(VfsArchive, PathsBeyondAsciiAndInEitherNotationAreMounted) {
    const std::string directory = "\u0434\u0430\u043D\u043D\u044B\u0435";
    ASSERT_NE(VFS_mkdir((directory + "\\sub").c_str()), 0);
    VFS_write(openWrite(directory + "\\sub\\\u20AC.txt").get(), "euro", 4);
    EXPECT_TRUE(mount(directory + "\\sub", "/a"));
    EXPECT_EQ(read("a/\u20AC.txt"), "euro");
    EXPECT_TRUE(unmount(directory + "/sub"));
}

TEST_F(VfsArchive, FailuresAreOneLineEach) {
    writeFile("Temp/empty", "");
    EXPECT_FALSE(mount("missing", "/there") || vfs_mount(nullptr, nullptr, 0) != 0);
    EXPECT_FALSE(mount(".", "/out/.."));
    EXPECT_FALSE(unmount("missing") || vfs_unmount(nullptr) != 0);
    EXPECT_FALSE(read("tmp/empty") || read("tmp/missing"));
    EXPECT_EQ(vfs_read_file(nullptr, nullptr), nullptr);
    EXPECT_EQ(vfs_read_optional_file("a", nullptr, nullptr), -1);
    EXPECT_EQ(vfs_list("tmp", nullptr, nullptr), -1);
    vfs_free_file_buffer(nullptr);
    Lines messages;
    for (const auto& [module, level, message] : log.take()) {
        EXPECT_TRUE(module == "VFS" && level == 0x08U);
        messages.push_back(message);
    }
    EXPECT_EQ(messages, (Lines{"Can't mount 'missing' to '/there'.", "Can't mount '' to '/'.",
                               "Can't mount '.' to '/out/..'.", "Can't unmount 'missing'.",
                               "Can't unmount ''.", "Can't read file tmp/empty.",
                               "Can't open file tmp/missing.", "Can't open file .",
                               "Can't open file a.", "Can't list directory tmp."}));
    EXPECT_FALSE(mount(std::string(300, 'x')));
    EXPECT_FALSE(read("tmp/" + std::string(100'000, 'x')) || read("tmp"));
    EXPECT_EQ(log.take().size(), 3U);
    EXPECT_TRUE(unmount("./Temp")) << "no file was left open";
}

TEST_F(VfsArchive, NothingLeadsOutOfTheTree) {
    writeFile("up.txt", "outside");
    fs::create_directory("data");
    ASSERT_TRUE(mount("data") && mount((given / "escaping.zip").string()));
    EXPECT_EQ(read("fine.txt"), "fine");
    for (const std::string& name :
         Lines{"../up.txt", "sub/../../up.txt", "..\\up.txt", "..\\dosup.txt", "../dosup.txt",
               "/root.txt", "C:/drive.txt", "C:\\drive.txt", "C:/dos.txt", "C:\\dos.txt",
               fs::absolute("up.txt").string()}) {
        log.take();
        EXPECT_EQ(read(name), std::nullopt) << name;
        EXPECT_EQ(log.messages(), Lines{"Can't open file " + name + "."});
    }
}

TEST_F(VfsArchive, HostileArchivesAreRefused) {
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(given / "hostile")) {
        const std::string path = entry.path().generic_string();
        log.take();
        EXPECT_FALSE(mount(path));
        const Lines lines = log.messages();
        ASSERT_EQ(lines.size(), 2U) << path;
        EXPECT_EQ(lines[0].find(path + " is refused: "), 0U) << lines[0];
        EXPECT_EQ(lines[1], "Can't mount '" + path + "' to '/'.");
        ++count;
    }
    EXPECT_GT(count, 9);
}

TEST_F(VfsArchive, OneBadEntryDoesNotSpoilTheOthers) {
    fs::copy_file(given / "left_out.zip", "left.zip");
    ASSERT_TRUE(mount("left"));
    EXPECT_EQ(
        log.messages(),
        (Lines{"left.zip: link: it is a symbolic link; left out.",
               "left.zip: " + std::string(200, 'n') + ": its name is too long; left out.",
               "left.zip: " + repeated("/d", 100).substr(1) +
                   ": its name has too many levels; left out.",
               "left.zip: : no path leads to its name; left out.",
               "left.zip: ?s?/../??: no path leads to its name; left out.",
               "left.zip: fine.txt/below: it is both a file and a folder; the first one counts.",
               "left.zip: twice: it is there more than once; the last one counts.",
               "left.zip: folder: it is both a file and a folder; the first one counts.",
               "left.zip: 1 more of its entries are as bad.", "Mounted left.zip to /."}));
    EXPECT_EQ(list(""), (Lines{"fine.txt", "folder", "tmp", "twice"}));
    EXPECT_EQ(read("twice"), "second");
    EXPECT_EQ(read("no\x1B"), std::nullopt);
    EXPECT_EQ(log.messages(), Lines{"Can't open file no?."});

    fs::copy_file(given / "unreadable.zip", "bad.zip");
    ASSERT_TRUE(mount("bad", "/bad"));
    EXPECT_EQ(read("bad/fine.txt"), "fine");
    EXPECT_EQ(list("bad").size(), 13U);
    log.take();
    const auto messageAbout = [&](const std::string& name) {
        readOptional("bad/" + name, -1);
        const Lines lines = log.messages();
        EXPECT_EQ(lines.size(), 2U);
        return lines.at(0);
    };
    for (const std::string name : {"stored_bomb", "deflated_bomb", "packed_lie", "bomb64",
                                   "negative64", "missing64", "extra64"}) {
        EXPECT_EQ(messageAbout(name), "bad.zip: " + name + ": its size or place is impossible.");
    }
    expectEach(messageAbout, "encrypted => bad.zip: encrypted: it is encrypted.",
               "bzip2 => bad.zip: bzip2: it is packed by a method that is not supported.",
               "longer => bad.zip: longer: its data is damaged.",
               "misplaced => bad.zip: misplaced: its data is not where the archive says.",
               "empty => bad.zip: empty: its check sum does not match.");
}

TEST_F(VfsArchive, TheEndIsNeitherInACommentNorIsSomethingBehindIt) {
    fs::copy_file(given / "comment.zip", "comment.zip");
    EXPECT_TRUE(mount("comment"));
    EXPECT_EQ(read("fine.txt"), "fine");
    writeFile("cut.zip", readFile(given / "small.zip") + "more");
    EXPECT_TRUE(mount("cut"));
    EXPECT_EQ(log.messages(),
              (Lines{"Mounted comment.zip to /.", "cut.zip: 4 bytes are behind its end.",
                     "Mounted cut.zip to /."}));
}

// Here a relative path leads elsewhere after a change of the current directory. Renaming the
// archive would have the same effect, but not every system allows that.
TEST_F(VfsArchive, IsReadWhereverItsPathLeadsLater) {
    fs::copy_file(given / "small.zip", "new.zip");
    writeFile("elsewhere/new.zip", "another one");
    ASSERT_TRUE(mount("new"));
    fs::current_path("elsewhere");
    EXPECT_EQ(read("fine.txt"), "fine");
}

// Cuts a small archive at every length and flips bits in every byte. It is refused, its files are,
// or they are read unchanged. No file is left open: then it could not be unmounted.
TEST_F(VfsArchive, DamageDoesNoHarm) {
    const std::string sound = readFile(given / "both_kinds.zip");
    const std::string nineTimes = repeated("deflated", 9);
    const auto filesRead = [&](const std::string& archive) {
        writeFile("damaged.zip", archive);
        if (!mount("damaged")) {
            return -1;
        }
        EXPECT_GT(list("").size(), 1U) << "nothing but /tmp";
        const std::optional<std::string> stored = read("s");
        const std::optional<std::string> deflated = read("d");
        EXPECT_EQ(stored.value_or("stored"), "stored");
        EXPECT_EQ(deflated.value_or(nineTimes), nineTimes);
        EXPECT_TRUE(unmount("damaged"));
        return (stored ? 1 : 0) + (deflated ? 1 : 0);
    };
    EXPECT_EQ(filesRead(sound), 2);
    int harmful = 0;
    for (std::size_t index = 0; index < sound.size(); ++index) {
        EXPECT_EQ(filesRead(sound.substr(0, index)), -1) << index;
        for (const char flip : {'\x01', '\xFF'}) {
            std::string damaged = sound;
            damaged[index] = static_cast<char>(damaged[index] ^ flip);
            harmful += filesRead(damaged) < 2 ? 1 : 0;
        }
    }
    EXPECT_GT(harmful, 100);
}

TEST_F(VfsArchive, ThreadsMountAtOnce) {
    writeFile("a/stored.txt", "loose");
    writeFile("b/sub/one.txt", "loose");
    for (const char* copy : {"a.zip", "b.zip"}) {
        fs::copy_file(given / "python.zip", copy);
    }
    for (int round = 0; round < 100; ++round) {
        inThreads(2, [](int index) { EXPECT_TRUE(mount(index == 0 ? "a" : "b")); });
        // One directory and its archive come before the other two.
        EXPECT_NE(read("stored.txt") == "loose", read("sub/one.txt") == "loose");
        EXPECT_TRUE(unmount("a") && unmount("b"));
    }
}

TEST_F(VfsArchive, ThreadsReadAtOnce) {
    writeFile("loose/loose.txt", "loose");
    ASSERT_TRUE(mount((given / "python.zip").string()) && mount("loose"));
    writeFile("second/second.txt", "second");
    inThreads(5, [](int index) {
        for (int round = 0; index == 0 && round < 200; ++round) {
            EXPECT_TRUE(mount("second", "/second", round % 2));
            while (!unmount("second")) { // another thread is reading
            }
        }
        EXPECT_EQ(read("missing.txt"), std::nullopt);
        for (int round = 0; round < 50; ++round) {
            void* buffer = nullptr;
            std::uint64_t size = 0;
            const int result = vfs_read_optional_file("second/second.txt", &buffer, &size);
            EXPECT_GE(result, 0);
            EXPECT_EQ(result == 1 ? 6U : 0U, size);
            vfs_free_file_buffer(buffer);
            EXPECT_NE(vfs_get_kind("second", nullptr), VFS_KIND_UNKNOWN);
            Lines names;
            const int listed = list("second", names);
            EXPECT_EQ(listed, static_cast<int>(names.size()));
            EXPECT_GE(list("sub").size(), 1U);
            EXPECT_EQ(read("stored.txt"), "as it is");
            EXPECT_TRUE(read("deflated.txt") == kDeflated);
            EXPECT_EQ(read("loose.txt"), "loose");
        }
    });
}

} // namespace
