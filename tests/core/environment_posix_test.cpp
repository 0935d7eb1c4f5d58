// The environment of a process that has run out of descriptors. Linux only.
#include "Core/Environment.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <string>

namespace {

TEST(Environment, IsAskedForAgainWhenItCouldNotBeReadBefore) {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_STREQ(SYS_cmdline(), "");
    EXPECT_EQ(SYS_argc(), 0);
    EXPECT_EQ(SYS_argv()[0], nullptr);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_NE(std::string(SYS_cmdline()).find("core_tests"), std::string::npos);
    ASSERT_GE(SYS_argc(), 1);
    EXPECT_NE(std::string(SYS_argv()[0]).find("core_tests"), std::string::npos);
}

} // namespace
