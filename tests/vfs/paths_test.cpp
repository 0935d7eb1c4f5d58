#include "VFS/Paths.h"
#include "support/test.h"

namespace {

using Result = std::pair<unsigned int, std::string>; // status and text
using Call = std::function<unsigned int(char* out, std::size_t size)>;

// The result of a call that writes into a buffer. The buffer may hold a text before, and has guard
// bytes behind it, so that a byte past its size shows.
Result into(std::size_t size, const Call& call, const char* before = nullptr) {
    const std::string guard(16, 'Z');
    std::string bytes = before == nullptr ? "" : before + "\0"s;
    bytes.resize(size, 'Z');
    bytes += guard;
    const unsigned int status = call(bytes.data(), size);
    EXPECT_EQ(bytes.substr(size), guard) << "past the size";
    const std::size_t length = strnlen(bytes.data(), size);
    EXPECT_TRUE(size == 0 || length < size) << "not terminated";
    return {status, bytes.substr(0, length)};
}

// Expects that a result fits into room for itself and its terminator, and not into less.
void expectRoom(const std::string& whole, const Call& call) {
    for (std::size_t size = 0; size <= whole.size() + 2; ++size) {
        const auto [status, text] = into(size, call);
        EXPECT_EQ(status, size > whole.size() ? 1U : 0U) << size;
        EXPECT_TRUE(whole.starts_with(text)) << size;
    }
}

using Conversion = unsigned int (*)(char*, size_t, const char*);

std::string convert(Conversion conversion, const std::string& path) {
    const auto [status, text] = into(4 * path.size() + 1, [&](char* out, std::size_t size) {
        return conversion(out, size, path.c_str());
    });
    EXPECT_EQ(status, 1U) << path;
    return text;
}

// Converts a path in its own place.
Result convertInPlace(Conversion conversion, const char* path) {
    const auto call = [&](char* out, std::size_t size) { return conversion(out, size, out); };
    return into(std::strlen(path) + 1, call, path);
}

TEST(Paths, NormalizeTurnsSlashesAndJoinsRuns) {
    for (const auto& [path, normal] :
         {std::pair("//server//share/./x/", "\\\\server\\share\\.\\x\\"),
          {"///", "\\\\"},
          {"a/\\//b", "a\\b"},
          {"", ""}}) {
        EXPECT_EQ(convert(VFS_path_normalize, path), normal);
        EXPECT_EQ(convertInPlace(VFS_path_normalize, path), Result(1, normal));
    }
    EXPECT_EQ(VFS_path_normalize(nullptr, 0, ""), 1U); // an empty result fits without any room
    expectRoom("a\\b",
               [](char* out, size_t size) { return VFS_path_normalize(out, size, "a//b"); });
}

TEST(Paths, NativeHasTheSeparatorsOfTheSystem) {
    const bool isWindows = fs::path::preferred_separator == '\\';
    EXPECT_EQ(convert(VFS_path_native, "C:/a//b\\c"), isWindows ? "C:\\a\\\\b\\c" : "C:/a//b/c");
    expectRoom(isWindows ? "a\\b\\c" : "a/b/c",
               [](char* out, size_t size) { return VFS_path_native(out, size, "a/b\\c"); });
    EXPECT_EQ(convertInPlace(VFS_path_native, "a\\b"), Result(1, isWindows ? "a\\b" : "a/b"));
}

TEST(Paths, NormcaseLowersLettersAndKeepsTheCodecsGroupOrder) {
    expectEach([](const std::string& path) { return convert(VFS_path_normcase, path); },
               "C:/Data\\X.LUA => c:/data\\x.lua",
               "\u00D7\u00DF => \u00D7\u00DF", // not letters with a lower case
               "\u20AC => \u2B02", "a\x80z => a?z",
               "a\xE2\x82 => a"); // cut short by the terminator: ends there
    expectRoom("a\u2B02",
               [](char* out, size_t size) { return VFS_path_normcase(out, size, "A\u20AC"); });
}

TEST(Paths, SplitTakesTheLastSeparator) {
    const char* file = nullptr;
    const auto split = [&](const char* path) {
        return into(8,
                    [&](char* out, size_t size) { return VFS_path_split(path, out, size, &file); });
    };
    for (const auto& [path, before] : {std::pair("a/b\\c", "a\\b"), {"\\c", ""}, {"c", ""}}) {
        EXPECT_EQ(split(path), Result(1, before));
        EXPECT_STREQ(file, "c");
    }
    EXPECT_EQ(split("1234567/c").first, 1U);
    char directory[8];
    EXPECT_EQ(VFS_path_split("12345678/c", directory, 8, &file), 0U);
    EXPECT_EQ(VFS_path_split("c", directory, 8, nullptr), 1U);
    EXPECT_EQ(VFS_path_split(nullptr, directory, 8, &file), 0U);
    EXPECT_EQ(VFS_path_split("12345678/c", nullptr, 0, &file), 1U);
    EXPECT_STREQ(file, "c");
}

TEST(Paths, JoinPutsOneSeparatorAndNeverDiscardsTheBase) {
    const auto joined = [](const char* base, const char* relative) {
        const auto [status, text] = into(
            256, [&](char* out, size_t size) { return VFS_path_join(out, size, base, relative); });
        EXPECT_EQ(status, 1U);
        return text;
    };
    EXPECT_EQ(joined("C:/games", "/saves//x.lua"), "C:\\games\\saves\\x.lua");
    EXPECT_EQ(joined("C:/games/", "x"), "C:\\games\\x");
    EXPECT_EQ(joined("a//b", nullptr), "a\\b");
    EXPECT_EQ(joined(nullptr, "\\\\x"), "x");
    EXPECT_EQ(joined("a", ""), "a\\");
}

TEST(Paths, JoinOntoTheDestinationOnlyTurnsSlashes) {
    const Call join = [](char* out, size_t size) { return VFS_path_join(out, size, out, "c"); };
    EXPECT_EQ(into(16, join, "a//b"), Result(1, "a\\\\b\\c"));
    char unterminated[] = "ab, and more";
    EXPECT_EQ(join(unterminated, 2), 0U);
    EXPECT_STREQ(unterminated + 2, ", and more");
}

TEST(Paths, JoinFailsWithoutRoomForTheTerminator) {
    expectRoom("base\\relative",
               [](char* out, size_t size) { return VFS_path_join(out, size, "base", "relative"); });
    const Call join = [](char* out, size_t size) {
        return VFS_path_join(out, size, nullptr, "a//b");
    };
    EXPECT_EQ(into(4, join).first, 0U) << "before slashes are joined";
}

TEST(Paths, NullIsAFailure) {
    for (const Conversion conversion : {VFS_path_normalize, VFS_path_normcase}) {
        const Call call = [&](char* out, size_t size) { return conversion(out, size, nullptr); };
        EXPECT_EQ(into(4, call), Result(0, ""));
        EXPECT_EQ(conversion(nullptr, 4, "a"), 0U);
    }
    EXPECT_EQ(VFS_path_join(nullptr, 4, "a", "b"), 0U);
}

} // namespace
