// Conversions that the system refuses. Linux only: there a program's own functions replace those of
// the C library.
#include "Common/Text.h"
#include "support/test.h"

#include <dlfcn.h>
#include <iconv.h>

#include <cerrno>

namespace {

std::atomic<int> callToRefuse = 0; // 1 for the next one
std::atomic<bool> refusesAll = false;

} // namespace

extern "C" __attribute__((visibility("default"))) iconv_t iconv_open(const char* to,
                                                                     const char* from) {
    if (refusesAll || (callToRefuse > 0 && --callToRefuse == 0)) {
        errno = EMFILE;
        return reinterpret_cast<iconv_t>(-1);
    }
    static const auto real =
        reinterpret_cast<iconv_t (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "iconv_open"));
    return real(to, from);
}

TEST(ConversionsPosix, OpenInBothDirectionsOrNone) {
    const std::string greek = "\xCE\xB1";
    const std::wstring wide = L"\u03B1";
    for (int refused = 1; refused <= 4; ++refused) {
        callToRefuse = refused;
        Common::iconv_local_init("ISO-8859-7");
        EXPECT_EQ(callToRefuse, 0) << refused;
        const bool isLocalOpen = Common::iconv_local_from_utf8(greek) != greek;
        EXPECT_EQ(isLocalOpen, refused > 2);
        EXPECT_EQ(Common::iconv_local_to_utf8("\xE1") == greek, isLocalOpen);
        const bool isWideOpen = Common::iconv_utf8_to_wchar(greek) == wide;
        EXPECT_EQ(isWideOpen, refused <= 2);
        EXPECT_EQ(Common::iconv_utf8_from_wchar(wide) == greek, isWideOpen);
        Common::iconv_local_exit();
    }
}

TEST(ConversionsPosix, OfManyThreadsShareWhatConvertersThereAre) {
    const std::string text = repeated("\xCE\xB1", 1000);
    const std::wstring wide(1000, L'\u03B1');
    Common::iconv_local_init("ISO-8859-7");
    for (const bool areNoMore : {true, false}) {
        refusesAll = areNoMore;
        inThreads(4, [&](int) {
            for (int i = 0; i < 50; ++i) {
                EXPECT_EQ(Common::iconv_local_from_utf8(text), std::string(1000, '\xE1'));
                EXPECT_EQ(Common::iconv_utf8_from_wchar(wide), text);
            }
        });
    }
    refusesAll = false;
    Common::iconv_local_exit();
}
