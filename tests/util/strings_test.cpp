#include "Util/Strings.h"
#include "support/test.h"

#include <clocale>

namespace {

TEST(Strings, ChangesCaseUpToWhatEndsIt) {
    EXPECT_EQ(qz::toLower("Hello, World 42"), "hello, world 42");
    EXPECT_EQ(qz::toUpper("Hello, World 42"), "HELLO, WORLD 42");
    EXPECT_EQ(qz::toLower("AB\0CD"s), "ab");
    EXPECT_EQ(qz::toLower("AB\xE2\x82"), "ab");    // cut off
    EXPECT_EQ(qz::toLower("A\x80\xC3(B"), "a??b"); // not characters
    EXPECT_EQ(qz::toLower("\xFF\xBF\xBF\xBF\xBF\xBF\xBF\xBF"), "");
    EXPECT_EQ(qz::toLower(""), "");
    // The bits of a three-byte character are read in reverse order, here as U+2B02, and written so.
    EXPECT_EQ(qz::toLower("\xE2\x82\xAC"), "\xE2\xAC\x82");
}

TEST(Strings, ChangesCaseByTheLocale) {
    // Locales that know these letters, by their names on Linux and on Windows.
    ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr ||
                std::setlocale(LC_CTYPE, "English") != nullptr);
    EXPECT_EQ(qz::toLower("\xC3\x84\xD0\x96"), "\xC3\xA4\xD0\xB6");
    EXPECT_EQ(qz::toUpper("\xC3\xA4\xD0\xB6"), "\xC3\x84\xD0\x96");
}

TEST(Strings, TakesPathsApart) {
    struct Case {
        const char *path, *completed, *withoutExtension, *extension, *file, *name, *folder;
    };
    static constexpr Case kCases[] = {
        {"", "", "", "", "", "", ""},
        {"file.txt", "file.txt/", "file", "txt", "file.txt", "file", ""},
        {"a/b\\c.tar.gz", "a/b\\c.tar.gz/", "a/b\\c.tar", "gz", "c.tar.gz", "c.tar", "a/b\\"},
        {"a\\b/c", "a\\b/c/", "a\\b/c", "", "c", "c", "a\\b/"},
        {"C:\\dir", "C:\\dir/", "C:\\dir", "", "dir", "dir", "C:\\"},
        {"dir\\", "dir\\", "dir\\", "", "", "", "dir\\"},
        {"dir.old/file", "dir.old/file/", "dir", "old/file", "file", "file", "dir.old/"},
        {"/.", "/./", "/", "", ".", "", "/"},
    };
    for (const Case& one : kCases) {
        EXPECT_EQ(qz::completePathWithSlash(one.path), one.completed);
        EXPECT_EQ(qz::removeExtension(one.path), one.withoutExtension);
        EXPECT_EQ(qz::extractExtension(one.path), one.extension);
        EXPECT_EQ(qz::extractFileName(one.path), one.file);
        EXPECT_EQ(qz::extractFileNameNoExt(one.path), one.name);
        EXPECT_EQ(qz::extractFolder(one.path), one.folder);
    }
    EXPECT_EQ(qz::removeWhiteSpaces(" a\tb\r\n c\v\f\xA0"), "abc\xA0");
}

TEST(Strings, NormalizesPaths) {
    const auto normalized = [](std::string in) {
        std::string out = "old";
        qz::normalizePath(in, out);
        qz::normalizePath(in, in);
        EXPECT_EQ(in, out) << "onto itself";
        return out;
    };
    expectEach(normalized, ".\\Data\\\\Scripts/./Main.LUA => data/scripts/main.lua",
               "a/../b => a/../b", "//server/x => /server/x", "./ => ", ". => .", ".//a => a",
               "././a => a", "a/././/b => a/b", "a/. => a/.", "a./b => a./b", "a/.b/ => a/.b/",
               "\\ => /", "\xC3\x84 => \xC3\x84", " => ");
}

} // namespace
