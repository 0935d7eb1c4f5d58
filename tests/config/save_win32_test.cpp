// Saving over a file on Windows: attributes, access list.
#include "config/describe.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

namespace {

fs::path makeFile(const fs::path& file) {
    writeFile(file, "old");
    return file;
}

bool setAccess(const fs::path& file, const wchar_t* list) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &descriptor,
                                                              nullptr)) {
        return false;
    }
    const bool isSet = SetFileSecurityW(file.c_str(), DACL_SECURITY_INFORMATION, descriptor) != 0;
    LocalFree(descriptor);
    return isSet;
}

// A file's security in the system's own notation, "O:..." or "D:...".
std::wstring securityOf(const fs::path& file,
                        SECURITY_INFORMATION part = DACL_SECURITY_INFORMATION) {
    alignas(void*) char descriptor[4096];
    DWORD size = 0;
    wchar_t* text = nullptr;
    if (!GetFileSecurityW(file.c_str(), part, descriptor, sizeof descriptor, &size) ||
        !ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, part,
                                                              &text, nullptr)) {
        return L"none";
    }
    const std::wstring result = text;
    LocalFree(text);
    return result;
}

TEST(ConfigSaveWin32, KeepsTheAccessList) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg");
    const std::wstring ofFolder = securityOf(file);
    const std::wstring owner = securityOf(file, OWNER_SECURITY_INFORMATION).substr(2);
    ASSERT_TRUE(setAccess(file, (L"D:P(A;;FA;;;" + owner + L")").c_str()));
    const std::wstring before = securityOf(file);
    ASSERT_NE(before, ofFolder);
    EXPECT_TRUE(save(file));
    EXPECT_EQ(securityOf(file), before);
    EXPECT_EQ(readFile(file), "a = 1;\r\n");
}

TEST(ConfigSaveWin32, KeepsAttributes) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg");
    constexpr DWORD kWanted = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), kWanted | FILE_ATTRIBUTE_READONLY));
    const DWORD before = GetFileAttributesW(file.c_str());
    if ((before & kWanted) != kWanted) {
        GTEST_SKIP() << "the file system has no such attributes";
    }
    EXPECT_TRUE(save(file));
    EXPECT_EQ(GetFileAttributesW(file.c_str()) & (kWanted | FILE_ATTRIBUTE_READONLY), kWanted);

    // A file that cannot be saved stays protected.
    ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
    const HANDLE reader = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    EXPECT_FALSE(save(file));
    CloseHandle(reader);
    EXPECT_NE(GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_READONLY, 0U);
    EXPECT_EQ(countIn(file.parent_path()), 1);
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
}

// The result of an action that begins while another handle has the file open.
bool whileHeld(const fs::path& file, DWORD sharing, const std::function<bool()>& action) {
    const HANDLE other =
        CreateFileW(file.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(other, INVALID_HANDLE_VALUE);
    std::thread thread([other] {
        Sleep(200);
        CloseHandle(other);
    });
    const bool result = action();
    thread.join();
    return result;
}

TEST(ConfigSaveWin32, WaitsForOthers) {
    const fs::path file = makeFile(freshDirectory() / "a.cfg");
    EXPECT_TRUE(whileHeld(file, FILE_SHARE_READ, [&] { return save(file); }));
    EXPECT_EQ(readFile(file), "a = 1;\r\n");
    ConfigParser parser;
    EXPECT_TRUE(whileHeld(file, 0, [&] { return parser.parse(file.string()); }));
    EXPECT_TRUE(whileHeld(file, 0, [&] { return parser.saveEdited(); }));
}

TEST(ConfigSaveWin32, WritesInPlaceWhereNoFileCanBeMade) {
    const fs::path directory = freshDirectory();
    const fs::path file = directory / "a.cfg";
    writeFile(file, std::string(1000, 'x'));
    if (!setAccess(directory, L"D:P(A;OICI;GRGX;;;WD)") || save(directory / "new.cfg")) {
        setAccess(directory, L"D:P(A;OICI;FA;;;WD)");
        GTEST_SKIP() << "this user may do everything";
    }
    EXPECT_TRUE(save(file));
    EXPECT_EQ(readFile(file), "a = 1;\r\n");
    setAccess(directory, L"D:P(A;OICI;FA;;;WD)");
}

} // namespace
