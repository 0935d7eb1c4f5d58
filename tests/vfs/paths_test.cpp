#include "VFS/Paths.h"
#include "support/test.h"

namespace {

// A destination with guard bytes behind it, so that a byte past its size shows.
class Destination : qz::test::NonCopyable {
public:
    explicit Destination(std::size_t size) : size_(size), bytes_(size + kGuard.size(), kGuard[0]) {}
    Destination(std::size_t size, const std::string& text) : Destination(size) {
        bytes_.replace(0, text.size() + 1, text.c_str(), text.size() + 1);
    }
    ~Destination() { EXPECT_EQ(bytes_.substr(size_), kGuard) << "past the size"; }

    char* data() { return bytes_.data(); }
    std::size_t size() const { return size_; }

    std::string text() {
        const std::size_t length = strnlen(data(), size_);
        EXPECT_TRUE(size_ == 0 || length < size_) << "not terminated";
        return {data(), length};
    }

private:
    static inline const std::string kGuard = std::string(16, 'Z');

    std::size_t size_;
    std::string bytes_;
};

// Paths of all shapes, the same in every run: separators in runs, dots, letters, characters of two
// to four bytes, and stray bytes.
std::vector<std::string> generatedPaths() {
    const char* const pieces[] = {"/",  "\\", "//", "\\/",    "a",          "B",    ".",   "..",
                                  "x ", "C:", "Ж",  "\u20AC", "\U0001F600", "\xFF", "\x80"};
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same in every run
    std::vector<std::string> paths = {"", "/", "\\\\", "///", "a/", "//a//b//"};
    for (int i = 0; i < 2000; ++i) {
        std::string path;
        for (auto count = random() % 12; count > 0; --count) {
            path += pieces[random() % std::size(pieces)];
        }
        paths.push_back(path);
    }
    return paths;
}

using Conversion = unsigned int (*)(char*, size_t, const char*);

std::string convert(Conversion conversion, const std::string& path) {
    Destination destination(4 * path.size() + 1);
    EXPECT_EQ(conversion(destination.data(), destination.size(), path.c_str()), 1U) << path;
    return destination.text();
}

std::string folded(const std::string& path) {
    return convert(VFS_path_normcase, path);
}

// Backslashes, and two in a row at the beginning alone, where they make a path of the network.
std::string normalized(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    if (!path.empty()) {
        const auto bothSeparate = [](char a, char b) { return a == '\\' && b == '\\'; };
        path.erase(std::unique(path.begin() + 1, path.end(), bothSeparate), path.end());
    }
    return path;
}

// Whatever the room, the result is as much of the whole as fits, and 1 only for all of it.
void expectCutToFit(Conversion conversion, const std::string& path) {
    const std::string whole = convert(conversion, path);
    for (std::size_t size = 0; size <= whole.size() + 2; ++size) {
        Destination destination(size);
        const unsigned int result = conversion(destination.data(), size, path.c_str());
        EXPECT_EQ(result, whole.empty() || size > whole.size() ? 1U : 0U) << path << " in " << size;
        EXPECT_TRUE(whole.starts_with(destination.text())) << path << " in " << size;
    }
}

std::string joined(const char* base, const char* relative) {
    Destination destination(256);
    EXPECT_EQ(VFS_path_join(destination.data(), destination.size(), base, relative), 1U);
    return destination.text();
}

TEST(Paths, NormalizeTurnsSlashesAndJoinsRuns) {
    EXPECT_EQ(convert(VFS_path_normalize, "//server//share/./x/"), "\\\\server\\share\\.\\x\\");
    EXPECT_EQ(VFS_path_normalize(nullptr, 0, ""), 1U); // all of nothing fits nowhere
    for (const std::string& path : generatedPaths()) {
        expectCutToFit(VFS_path_normalize, path);
        EXPECT_EQ(convert(VFS_path_normalize, path), normalized(path));
        Destination inPlace(path.size() + 1, path);
        EXPECT_EQ(VFS_path_normalize(inPlace.data(), inPlace.size(), inPlace.data()), 1U);
        EXPECT_EQ(inPlace.text(), normalized(path));
    }
}

TEST(Paths, NativeHasTheSeparatorsOfTheSystem) {
    const bool isWindows = std::filesystem::path::preferred_separator == '\\';
    EXPECT_EQ(convert(VFS_path_native, "C:/a//b\\c"), isWindows ? "C:\\a\\\\b\\c" : "C:/a//b/c");
    expectCutToFit(VFS_path_native, "a/b\\c");
    Destination inPlace(4, "a\\b");
    EXPECT_EQ(VFS_path_native(inPlace.data(), 4, inPlace.data()), 1U);
    EXPECT_EQ(inPlace.text(), std::filesystem::path("a/b").make_preferred().string());
}

TEST(Paths, NormcaseLowersLettersAndKeepsTheCodecsGroupOrder) {
    EXPECT_EQ(folded("C:/Data\\X.LUA"), "c:/data\\x.lua");
    EXPECT_EQ(folded("\u00D7\u00DF"), "\u00D7\u00DF"); // not letters with a lower case
    EXPECT_EQ(folded("\u20AC"), "\u2B02");
    EXPECT_EQ(folded("a\x80z"), "a?z");
    EXPECT_EQ(folded("a\xE2\x82"), "a"); // cut short by the terminator: the end
    for (const std::string& path : generatedPaths()) {
        expectCutToFit(VFS_path_normcase, path);
    }
}

TEST(Paths, SplitTakesTheLastSeparator) {
    const char* file = nullptr;
    Destination directory(8);
    for (const auto& [path, before] : {std::pair("a/b\\c", "a\\b"), {"\\c", ""}, {"c", ""}}) {
        EXPECT_EQ(VFS_path_split(path, directory.data(), 8, &file), 1U);
        EXPECT_EQ(directory.text(), before);
        EXPECT_STREQ(file, "c");
    }
    EXPECT_EQ(VFS_path_split("c", directory.data(), 8, nullptr), 1U);
    EXPECT_EQ(VFS_path_split("c", nullptr, 0, &file), 1U);
    EXPECT_STREQ(file, "c");
    EXPECT_EQ(VFS_path_split("12345678/c", directory.data(), 8, &file), 0U);
    EXPECT_EQ(VFS_path_split("1234567/c", directory.data(), 8, &file), 1U);
    EXPECT_EQ(VFS_path_split("12345678/c", nullptr, 0, &file), 1U);
}

TEST(Paths, WhatWasSplitJoinsBack) {
    for (const std::string& path : generatedPaths()) {
        Destination directory(path.size() + 1);
        const char* file = nullptr;
        ASSERT_EQ(VFS_path_split(path.c_str(), directory.data(), directory.size(), &file), 1U);
        const std::string base = directory.text();
        // The root itself has no name to join to.
        if (base.find_first_not_of('\\') != std::string::npos) {
            EXPECT_EQ(joined(base.c_str(), file), normalized(path)) << path;
        }
    }
}

TEST(Paths, JoinPutsOneSeparatorAndNeverDiscardsTheBase) {
    EXPECT_EQ(joined("C:/games", "/saves//x.lua"), "C:\\games\\saves\\x.lua");
    EXPECT_EQ(joined("C:/games/", "x"), "C:\\games\\x");
    EXPECT_EQ(joined("a//b", nullptr), "a\\b");
    EXPECT_EQ(joined(nullptr, "\\\\x"), "x");
    EXPECT_EQ(joined("a", ""), "a\\");
}

TEST(Paths, JoinOntoTheDestinationOnlyTurnsSlashes) {
    Destination path(16, "a//b");
    EXPECT_EQ(VFS_path_join(path.data(), path.size(), path.data(), "c"), 1U);
    EXPECT_EQ(path.text(), "a\\\\b\\c");

    Destination unterminated(2);
    EXPECT_EQ(VFS_path_join(unterminated.data(), 2, unterminated.data(), "c"), 0U);
}

TEST(Paths, JoinFailsWithoutRoomForTheTerminator) {
    const std::string whole = "base\\relative";
    for (std::size_t size = 0; size <= whole.size() + 2; ++size) {
        Destination destination(size);
        EXPECT_EQ(VFS_path_join(destination.data(), size, "base", "relative"),
                  size > whole.size() ? 1U : 0U);
        EXPECT_TRUE(whole.starts_with(destination.text()));
    }
    Destination uncollapsed(4);
    EXPECT_EQ(VFS_path_join(uncollapsed.data(), 4, nullptr, "a//b"), 0U);
}

TEST(Paths, NullIsAFailure) {
    const char* file = nullptr;
    Destination destination(4);
    for (const Conversion conversion : {VFS_path_normalize, VFS_path_normcase}) {
        EXPECT_EQ(conversion(destination.data(), 4, nullptr), 0U);
        EXPECT_EQ(destination.text(), "");
        EXPECT_EQ(conversion(nullptr, 4, "a"), 0U);
    }
    EXPECT_EQ(VFS_path_split(nullptr, destination.data(), 4, &file), 0U);
    EXPECT_EQ(VFS_path_join(nullptr, 4, "a", "b"), 0U);
}

} // namespace
