// With every number taken: 32 768 files in one directory, which take Wine many minutes.
#include "Util/TempFilesManager.h"

#include "VFS/File.h"
#include "VFS/Locations.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using CoreUtils::TempFilesManager;

void create(unsigned number) {
    char name[32];
    std::snprintf(name, sizeof name, "./Temp/full%08X", number);
    qz::test::writeFile(name, "");
}

TEST(TempFilesFull, EndWhenAllNumbersAreTaken) {
    constexpr unsigned kLast = 0x1234;
    std::filesystem::current_path(qz::test::freshDirectory());
    VFS_mkdir(VFS_get_tempdir());
    for (unsigned number = 0; number < 0x8000; ++number) {
        if (number != kLast) {
            create(number);
        }
    }
    EXPECT_EQ(TempFilesManager::getTempFileName("full"), "./Temp//full00001234");
    create(kLast);
    EXPECT_EQ(TempFilesManager::getTempFileName("full"), "");
    std::filesystem::remove_all("Temp");
}

} // namespace
