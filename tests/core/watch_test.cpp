#include "Core/Watch.h"
#include "support/test.h"

namespace {

size_t printText(unsigned int mode, char* buffer, size_t size, void* data) {
    const int length = std::snprintf(buffer, size, "%s/%u", static_cast<const char*>(data), mode);
    return static_cast<size_t>(length);
}

std::vector<std::string> names() {
    std::vector<std::string> list;
    QZ_watch_get_list(
        [](const char* name, void* context) {
            static_cast<std::vector<std::string>*>(context)->push_back(name);
        },
        &list);
    return list;
}

char value[] = "value";

// Each test begins with an empty table; one test looks at what start-up has registered.
struct WatchTable : ::testing::Test {
    WatchTable() {
        for (const std::string& name : names()) {
            QZ_watch_reset(name.c_str());
        }
    }
};

TEST(Watch, HoldsWhatStartUpRegistered) {
    EXPECT_EQ(names(), (std::vector<std::string>{"Main pool", "Lua", "STL allocator"}));
    char text[64];
    EXPECT_GT(QZ_watch_get_one("Main pool", 0, text, sizeof text), 0u);
    EXPECT_STREQ(text + std::strlen(text) - 2, "MB");
}

TEST_F(WatchTable, NeverReplacesAWatch) {
    char other[] = "other";
    EXPECT_NE(QZ_watch_set("a", printText, value), 0);
    EXPECT_EQ(QZ_watch_set("a", printText, other), 0);
    char text[64];
    EXPECT_EQ(QZ_watch_get_one("a", 3, text, sizeof text), 7u);
    EXPECT_STREQ(text, "value/3");
    EXPECT_EQ(QZ_watch_set("a", nullptr, nullptr), 1);
    EXPECT_EQ(QZ_watch_set("a", nullptr, nullptr), 0);
    EXPECT_EQ(QZ_watch_get_one("a", 3, text, sizeof text), 0u);
}

TEST_F(WatchTable, HasSixteenPlacesAndReusesThem) {
    for (int i = 0; i < 16; ++i) {
        EXPECT_NE(QZ_watch_set(std::to_string(i).c_str(), printText, value), 0);
    }
    EXPECT_EQ(QZ_watch_set("one more", printText, value), 0);
    QZ_watch_reset("3");
    EXPECT_NE(QZ_watch_set("one more", printText, value), 0);
    ASSERT_EQ(names().size(), 16u);
    EXPECT_EQ(names()[3], "one more");
}

TEST_F(WatchTable, CutsNamesWhereverTheyAreGiven) {
    const std::string common(31, 'n');
    EXPECT_NE(QZ_watch_set((common + "1").c_str(), printText, value), 0);
    EXPECT_EQ(QZ_watch_set((common + "2").c_str(), printText, value), 0);
    EXPECT_EQ(names(), std::vector<std::string>{common});
    QZ_watch_reset((common + "3").c_str());
    EXPECT_TRUE(names().empty());
    QZ_watch_set((common.substr(1) + "\u20AC").c_str(), printText, value);
    EXPECT_EQ(names(), std::vector<std::string>{common.substr(1)}); // no part of a character
    EXPECT_EQ(QZ_watch_set(nullptr, nullptr, nullptr), 0);
}

TEST_F(WatchTable, PrintsAllOneALineWithinTheBuffer) {
    char first[] = "x\n"; // "/0" follows the line break, so a separator is due
    QZ_watch_set("A", printText, first);
    QZ_watch_set("B", printText, value);
    const std::string whole = "A: x\n/0\nB: value/0";
    char buffer[64];
    EXPECT_EQ(QZ_watch_get_all(0, buffer, sizeof buffer), whole.size());
    EXPECT_EQ(buffer, whole);

    for (size_t size = 0; size <= whole.size() + 1; ++size) {
        std::memset(buffer, '#', sizeof buffer);
        const size_t written = QZ_watch_get_all(0, buffer, size);
        EXPECT_EQ(written, size == whole.size() + 1 ? whole.size() : size);
        EXPECT_EQ(buffer[size], '#') << "wrote past " << size;
        if (size > 0) {
            EXPECT_LT(strnlen(buffer, size), size) << "no terminator within " << size;
        }
    }
    EXPECT_EQ(QZ_watch_get_all(0, nullptr, 0), 0u);
    QZ_watch_reset("A");
    QZ_watch_reset("B");
    QZ_watch_set("Lua", printText, value);
    EXPECT_EQ(QZ_watch_get_all(0, buffer, 6), 6u);
    EXPECT_STREQ(buffer, "<...>");
}

} // namespace
