#include "VFS/Paths.h"
#include "support/test.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

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

using Conversion = unsigned int (*)(char*, size_t, const char*);

std::string convert(Conversion conversion, const std::string& path) {
    Destination destination(4 * path.size() + 1);
    EXPECT_EQ(conversion(destination.data(), destination.size(), path.c_str()), 1U) << path;
    return destination.text();
}

std::string folded(const std::string& path) {
    return convert(VFS_path_normcase, path);
}

std::string joined(const char* base, const char* relative) {
    Destination destination(256);
    EXPECT_EQ(VFS_path_join(destination.data(), destination.size(), base, relative), 1U);
    return destination.text();
}

// The fuzz target: paths of all shapes in any room. It checks what callers rely on.
TEST(Paths, AnyPathFitsOrIsCut) {
    const char* const pieces[] = {"/",  "\\", "//", "\\/",    "a",          "B",    ".",   "..",
                                  "x ", "C:", "Ж",  "\u20AC", "\U0001F600", "\xFF", "\x80"};
    std::mt19937 random(1);
    for (int i = 0; i < 5000; ++i) {
        std::string input(1, static_cast<char>(random() % 40)); // the room
        for (auto count = random() % 12; count > 0; --count) {
            input += pieces[random() % std::size(pieces)];
        }
        input += '\0';
        input += pieces[random() % std::size(pieces)];
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    }
}

// Expects that a result fits into room for itself and its terminator, and not into less.
void expectRoom(const std::string& whole, const std::function<unsigned int(char*, size_t)>& call) {
    for (std::size_t size = 0; size <= whole.size() + 2; ++size) {
        Destination destination(size);
        EXPECT_EQ(call(destination.data(), size), size > whole.size() ? 1U : 0U) << size;
        EXPECT_TRUE(whole.starts_with(destination.text())) << size;
    }
}

TEST(Paths, NormalizeTurnsSlashesAndJoinsRuns) {
    for (const auto& [path, normal] :
         {std::pair("//server//share/./x/", "\\\\server\\share\\.\\x\\"),
          {"///", "\\\\"},
          {"a/\\//b", "a\\b"},
          {"", ""}}) {
        EXPECT_EQ(convert(VFS_path_normalize, path), normal);
        Destination inPlace(std::strlen(path) + 1, path);
        EXPECT_EQ(VFS_path_normalize(inPlace.data(), inPlace.size(), inPlace.data()), 1U);
        EXPECT_EQ(inPlace.text(), normal);
    }
    EXPECT_EQ(VFS_path_normalize(nullptr, 0, ""), 1U); // an empty result fits without any room
    expectRoom("a\\b",
               [](char* out, size_t size) { return VFS_path_normalize(out, size, "a//b"); });
}

TEST(Paths, NativeHasTheSeparatorsOfTheSystem) {
    const bool isWindows = std::filesystem::path::preferred_separator == '\\';
    EXPECT_EQ(convert(VFS_path_native, "C:/a//b\\c"), isWindows ? "C:\\a\\\\b\\c" : "C:/a//b/c");
    expectRoom(isWindows ? "a\\b\\c" : "a/b/c",
               [](char* out, size_t size) { return VFS_path_native(out, size, "a/b\\c"); });
    Destination inPlace(4, "a\\b");
    EXPECT_EQ(VFS_path_native(inPlace.data(), 4, inPlace.data()), 1U);
    EXPECT_EQ(inPlace.text(), std::filesystem::path("a/b").make_preferred().string());
}

TEST(Paths, NormcaseLowersLettersAndKeepsTheCodecsGroupOrder) {
    EXPECT_EQ(folded("C:/Data\\X.LUA"), "c:/data\\x.lua");
    EXPECT_EQ(folded("\u00D7\u00DF"), "\u00D7\u00DF"); // not letters with a lower case
    EXPECT_EQ(folded("\u20AC"), "\u2B02");
    EXPECT_EQ(folded("a\x80z"), "a?z");
    EXPECT_EQ(folded("a\xE2\x82"), "a"); // cut short by the terminator: ends there
    expectRoom("a\u2B02",
               [](char* out, size_t size) { return VFS_path_normcase(out, size, "A\u20AC"); });
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
    expectRoom("base\\relative",
               [](char* out, size_t size) { return VFS_path_join(out, size, "base", "relative"); });
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
