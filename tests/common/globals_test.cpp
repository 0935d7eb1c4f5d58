#include "Globals.h"

#include "Common/Allocator.h"
#include "Common/Factory.h"
#include "Core/Watch.h"
#include "Util/Publish.h"
#include "VFS/File.h"
#include "support/test.h"

#include <clocale>

namespace {

TEST(Globals, AreThereWhenTheLibraryIs) {
    EXPECT_NE(globalConfig, nullptr);
    EXPECT_NE(globalMail, nullptr);
    ASSERT_NE(Common::globalFactoryManager, nullptr);
    EXPECT_EQ(Common::globalFactoryManager->getRefCount(), 1);
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C") << "numbers have a point";

    // The registry is one, and each call adds a reference.
    ASSERT_NE(registry, nullptr);
    EXPECT_EQ(registry->getRefCount(), 2) << "the library's own and that of the name";
    Common::FactoryManager* again = nullptr;
    getRegistry(&again);
    EXPECT_EQ(again, registry);
    EXPECT_EQ(registry->getRefCount(), 3);
    again->release();
}

TEST(Globals, TheAllocatorWatchTellsWhatHappenedSinceTheLastLook) {
    const auto look = [](unsigned int mode = 0) {
        char text[64] = "";
        QZ_watch_get_one("STL allocator", mode, text, sizeof text);
        return std::string(text);
    };
    look();
    qz::vector<char> bytes(3 << 20);
    EXPECT_EQ(look(QZ_PUBLISH_WATCH_MODE), "total 3.00 Mb, new 1, delete 0");
    EXPECT_EQ(look(), "total 3.00 Mb, new 1, delete 0") << "a publisher only looked";
    bytes = qz::vector<char>();
    EXPECT_EQ(look(), "total 0.00 Mb, new 0, delete 1");
}

TEST(Globals, DebugNewTouchesItsFile) {
    std::remove("memory.log");
    struct Thrower {
        explicit Thrower(bool throws) {
            if (throws) {
                throw 1;
            }
        }
    };
    delete new (__FILE__, __LINE__) Thrower(false);
    EXPECT_NE(VFS_exists("memory.log"), 0);
    EXPECT_THROW(new (__FILE__, __LINE__) Thrower(true), int);
}

} // namespace
