#include "Util/TempFilesManager.h"

#include "VFS/File.h"
#include "VFS/Locations.h"
#include "support/test.h"

#include <mutex>
#include <regex>

#ifndef _WIN32
#    include <sys/wait.h>
#    include <unistd.h>
#endif

namespace {

using CoreUtils::TempFilesManager;

struct TempFiles : InDirectory {
    TempFiles() { VFS_mkdir(VFS_get_tempdir()); }
};

TEST_F(TempFiles, HaveNamesOfTheirOwn) {
    const std::string name = TempFilesManager::getTempFileName("tmp");
    EXPECT_TRUE(std::regex_match(name, std::regex(R"(\./Temp//tmp0000[0-7][0-9A-F]{3})"))) << name;
    EXPECT_EQ(VFS_exists(name.c_str()), 0);
    const std::size_t room = 255 - 8 - std::string("./Temp//").size();
    EXPECT_EQ(TempFilesManager::getTempFileName(std::string(room, 'x')).size(), 255U);
    EXPECT_EQ(TempFilesManager::getTempFileName(std::string(room + 1, 'x')), "");
    EXPECT_EQ(TempFilesManager::getTempFileName(std::string(100'000, 'x')), "");
}

TEST_F(TempFiles, AreRemovedWithTheirManager) {
    std::string first, second;
    {
        TempFilesManager manager;
        first = manager.newTempFile("a");
        writeFile(first, "");
        manager.addTempFile("./Temp/never created");
        manager.addTempFile(std::string(1000, 'x'));
        second = "./Temp/given";
        manager.addTempFile(second);
        writeFile(second, "");
        TempFilesManager moved = std::move(manager);
        TempFilesManager other;
        other = moved;
        EXPECT_NE(VFS_exists(first.c_str()), 0);
    }
    EXPECT_EQ(VFS_exists(first.c_str()), 0);
    EXPECT_EQ(VFS_exists(second.c_str()), 0);
}

TEST_F(TempFiles, AreDifferentForThreadsAtOnce) {
    std::mutex mutex;
    std::set<std::string> names;
    inThreads(4, [&](int) {
        for (int i = 0; i < 200; ++i) {
            const std::string name = TempFilesManager::getTempFileName("shared");
            const std::lock_guard lock(mutex);
            names.insert(name);
        }
    });
    EXPECT_EQ(names.size(), 800U);
}

#ifndef _WIN32
TEST_F(TempFiles, StayWithTheProcessThatAddedThem) {
    auto manager = std::make_unique<TempFilesManager>();
    const std::string kept = manager->newTempFile("kept");
    writeFile(kept, "");
    for (const char* child : {"1", "2"}) {
        if (fork() == 0) {
            writeFile(child, TempFilesManager::getTempFileName("a"));
            writeFile(manager->newTempFile("own"), "");
            manager.reset();
            _exit(0);
        }
        wait(nullptr);
    }
    EXPECT_EQ(countIn("Temp"), 1) << "the children's files";
    EXPECT_NE(VFS_exists(kept.c_str()), 0);
    const std::set<std::string> names{readFile("1"), readFile("2"),
                                      TempFilesManager::getTempFileName("a")};
    EXPECT_GT(names.size(), 1U); // two may agree by chance
}

// 32 768 files in one directory take Wine many minutes.
TEST_F(TempFiles, EndWhenAllNumbersAreTaken) {
    const auto create = [](unsigned number) {
        char name[32];
        std::snprintf(name, sizeof name, "./Temp/full%08X", number);
        writeFile(name, "");
    };
    for (unsigned number = 0; number < 0x8000; ++number) {
        create(number == 0x1234 ? 0 : number);
    }
    EXPECT_EQ(TempFilesManager::getTempFileName("full"), "./Temp//full00001234");
    create(0x1234);
    EXPECT_EQ(TempFilesManager::getTempFileName("full"), "");
    std::filesystem::remove_all("Temp");
}
#endif

} // namespace
