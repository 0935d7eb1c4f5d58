#include "Core/Environment.h"
#include "Core/Log.h"
#include "support/test.h"

namespace {

constexpr char kName[] = "QZ_ENVIRONMENT_TEST";

TEST(Environment, DescribesTheProcess) {
    const fs::path directory(SYS_bindir());
    EXPECT_TRUE(directory.is_absolute());
    EXPECT_TRUE(fs::is_directory(directory));
    EXPECT_FALSE(directory.filename().empty()) << "no separator at its end";
    ASSERT_GE(SYS_argc(), 1);
    EXPECT_NE(std::string(SYS_argv()[0]).find("core_tests"), std::string::npos);
    EXPECT_EQ(SYS_argv()[SYS_argc()], nullptr);
    EXPECT_NE(std::string(SYS_cmdline()).find("core_tests"), std::string::npos);
}

TEST(Environment, VariablesRoundTripAsUtf8) {
    char buffer[64] = "untouched";
    EXPECT_EQ(SYS_getenv(kName, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "untouched");
    EXPECT_NE(SYS_putenv(kName, "grün Ω 日本"), 0);
    EXPECT_EQ(SYS_getenv(kName, buffer, sizeof buffer), 1);
    EXPECT_STREQ(buffer, "grün Ω 日本");
    EXPECT_NE(SYS_putenv(kName, ""), 0);
    EXPECT_EQ(SYS_getenv(kName, buffer, sizeof buffer), 0);
    SYS_putenv(kName, "again");
    EXPECT_NE(SYS_putenv(kName, nullptr), 0);
    EXPECT_EQ(SYS_getenv(kName, buffer, sizeof buffer), 0);
}

TEST(Environment, ReportsWhatItCannotTakeOrHand) {
    LogCapture log;
    const auto reported = [&](const std::string& message) {
        return log.take() == std::vector<LogLine>{{"QZCORE", QZ_LOG_ERROR, message}};
    };
    char small[5] = "old";
    SYS_putenv(kName, "12345");
    EXPECT_EQ(SYS_getenv(kName, small, sizeof small), 0);
    EXPECT_STREQ(small, "old");
    EXPECT_TRUE(reported("SYS_getenv(\"QZ_ENVIRONMENT_TEST\"): variable value is too big."));

    // A continuation byte alone, an overlong form, a surrogate, a sequence cut short.
    for (const std::string bad : {"\x80", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82"}) {
        EXPECT_EQ(SYS_getenv(bad.c_str(), small, sizeof small), 0);
        EXPECT_TRUE(reported("SYS_getenv(\"" + bad + "\"): bad encoding."));
        EXPECT_EQ(SYS_putenv(bad.c_str(), "x"), 0);
        EXPECT_TRUE(reported("SYS_putenv(\"" + bad + "\"): bad varname encoding."));
        EXPECT_EQ(SYS_putenv(kName, bad.c_str()), 0);
        EXPECT_TRUE(reported("SYS_putenv(\"QZ_ENVIRONMENT_TEST\"): bad value encoding."));
    }
    EXPECT_EQ(SYS_putenv(kName, std::string(40000, 'x').c_str()), 0);
    EXPECT_TRUE(reported("SYS_putenv(\"QZ_ENVIRONMENT_TEST\"): bad value encoding."));
    EXPECT_EQ(SYS_getenv(nullptr, small, sizeof small), 0);
    EXPECT_EQ(SYS_putenv(nullptr, "x"), 0);
    log.take();

    EXPECT_EQ(SYS_getenv("QZ_NO_SUCH_VARIABLE", small, sizeof small), 0);
    EXPECT_EQ(SYS_putenv("", "x"), 0);
    EXPECT_TRUE(log.take().empty());
}

} // namespace
